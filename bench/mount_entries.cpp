// Mounting a disk (and removing it again): a clean one, and one the
// recorder left by a power cut, which is repaired while it is mounted.
#include <fcntl.h>
#include <unistd.h>

#include <map>
#include <memory>

#include "harness.h"
#include "overlay_storage.h"
#include "posix_storage.h"
#include "trace.h"

namespace bench {

namespace {

struct SavedRange {
    std::string path;
    int64_t offset;
    std::vector<uint8_t> bytes;
};

// What a repair writes, as it stood before: learnt from a mount through the
// copy-on-write overlay, which leaves the disk as it is.
std::vector<SavedRange> ranges_repair_writes(const Disk &disk) {
    install_traced_storage(rfs_host::overlay_ops());
    start_trace();
    check(rfs_add_disk(0, alias_of(disk).c_str(), 0, 0, nullptr) == 0, "mount " + disk.path);
    rfs_remove_disk(0);
    Trace trace = stop_trace();
    rfs_host::overlay_reset();
    install_traced_storage(rfs_host::posix_ops());
    std::vector<SavedRange> saved;
    for (const StorageCall &c : trace.calls) {
        if (c.op != StorageCall::write) continue;
        SavedRange r{c.path, c.offset, std::vector<uint8_t>(c.len)};
        int fd = ::open(c.path.c_str(), O_RDONLY | O_CLOEXEC);
        check(fd >= 0 && ::pread(fd, r.bytes.data(), c.len, c.offset) == ssize_t(c.len), "save " + c.path);
        ::close(fd);
        saved.push_back(std::move(r));
    }
    check(!saved.empty(), "the power-cut disk needs no repair");
    return saved;
}

void put_back(const std::vector<SavedRange> &saved) {
    for (auto r = saved.rbegin(); r != saved.rend(); ++r) { // the first write's bytes win
        int fd = ::open(r->path.c_str(), O_WRONLY | O_CLOEXEC);
        check(fd >= 0 && ::pwrite(fd, r->bytes.data(), r->bytes.size(), r->offset) ==
                             ssize_t(r->bytes.size()),
              "put back " + r->path);
        ::close(fd);
    }
}

Entry mount_entry(const std::string &what, const std::string &label,
                  std::function<const Disk &()> made, bool repaired) {
    return {what, label, [made, repaired] {
                unmount_all();
                const Disk &disk = made();
                rfs_set_nas_mode(disk.nas ? 1 : 0);
                Op op;
                op.run = [alias = alias_of(disk)] {
                    check(rfs_add_disk(0, alias.c_str(), 0, 0, nullptr) == 0, "mount");
                    rfs_remove_disk(0);
                };
                if (repaired) {
                    static std::map<const Disk *, std::vector<SavedRange>> saved;
                    if (!saved.count(&disk)) saved[&disk] = ranges_repair_writes(disk);
                    op.reset = [&ranges = saved[&disk]] { put_back(ranges); };
                }
                return op;
            }};
}

} // namespace

void add_mount_entries(std::vector<Entry> &out, const Options &opt) {
    for (const Scale *s : opt.scales)
        for (bool nas : {false, true})
            out.push_back(mount_entry("mount (clean)", std::string(s->name) + (nas ? " nas" : " raw"),
                                      [s, nas]() -> const Disk & { return scale_disk(*s, nas); },
                                      false));
    const std::string cut = all_scales().front().name;
    for (bool nas : {false, true})
        out.push_back(mount_entry("mount (needing repair)", cut + (nas ? " nas, power cut" : " raw, power cut"),
                                  [nas]() -> const Disk & { return power_cut_disk(nas); }, true));
}

} // namespace bench
