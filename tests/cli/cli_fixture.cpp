#include "cli_fixture.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/wait.h>

namespace fs = std::filesystem;

namespace {

std::string quoted(const std::string &word) {
    std::string q = "'";
    for (char c : word) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

std::string cli_binary(const std::string &name) {
    return (fs::read_symlink("/proc/self/exe").parent_path().parent_path() / "cli" / name).string();
}

std::string file_text(const std::string &path) {
    std::vector<uint8_t> bytes = read_file(path);
    return std::string(bytes.begin(), bytes.end());
}

// The key frame a seek with mode 1 picks; the first when none is at or before.
const rec::KeyFrame &key_frame_at(const rec::EventTruth &ev, rec::PackedTime at) {
    const rec::KeyFrame *kf = &ev.kframes.front();
    for (const rec::KeyFrame &k : ev.kframes)
        if (k.time <= at) kf = &k;
    return *kf;
}

bool has_ref(const rec::KeyFrame &k) { return k.ref_length != 0 && k.ref_offset != k.offset; }

} // namespace

RunResult run_rfs(const std::vector<std::string> &args, const RunOptions &o) {
    TempDir io;
    std::string command = o.shell + (o.tmpdir.empty() ? "" : " TMPDIR=" + quoted(o.tmpdir)) + " " + quoted(cli_binary(o.program));
    for (const std::string &a : args) command += " " + quoted(a);
    if (o.terminal) command = "script -qec " + quoted(std::string(command)) + " /dev/null";
    command += " >" + quoted(o.stdout_to.empty() ? io.file("out") : o.stdout_to) + " 2>" + quoted(io.file("err"));
    int status = std::system(command.c_str());
    RunResult r;
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    r.out = file_text(io.file("out"));
    r.err = file_text(io.file("err"));
    return r;
}

namespace {

uint64_t fnv(uint64_t h, const uint8_t *p, size_t n) {
    for (size_t i = 0; i < n; ++i) h = (h ^ p[i]) * 1099511628211ull;
    return h;
}

uint64_t file_digest(const std::string &path) {
    int fd = open(path.c_str(), O_RDONLY);
    if (fd < 0) return 0;
    uint64_t h = 14695981039346656037ull;
    std::vector<uint8_t> buf(1 << 20);
    for (off_t at = lseek(fd, 0, SEEK_DATA); at >= 0; at = lseek(fd, at, SEEK_DATA)) {
        off_t end = lseek(fd, at, SEEK_HOLE);
        for (; at < end;) {
            ssize_t n = pread(fd, buf.data(), std::min<size_t>(buf.size(), size_t(end - at)), at);
            if (n <= 0) break;
            h = fnv(fnv(h, reinterpret_cast<const uint8_t *>(&at), sizeof at), buf.data(), size_t(n));
            at += n;
        }
        if (at < end) break;
    }
    off_t size = lseek(fd, 0, SEEK_END);
    close(fd);
    return fnv(h, reinterpret_cast<const uint8_t *>(&size), sizeof size);
}

} // namespace

std::string disk_digest(const std::string &path) {
    if (!fs::is_directory(path)) return std::to_string(file_digest(path));
    std::vector<std::string> names;
    for (const auto &e : fs::directory_iterator(path)) names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    std::string digest;
    for (const std::string &n : names) digest += n + ":" + std::to_string(file_digest(path + "/" + n)) + " ";
    return digest;
}

std::vector<uint8_t> read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void CliDiskTest::SetUp() {
    rec::DiskShape shape;
    shape.files_per_partition = 8;
    shape.nas = nas();
    disk_ = dir_.file(nas() ? "nas" : "disk.img");
    rec_ = std::make_unique<rec::Recorder>(shape, disk_);
    rec::RecordOptions o;
    o.fps = 10;
    o.key_interval = 20;
    o.key_bytes = 6000;
    o.p_bytes = 600;
    rec::RecordOptions refs = o, skipped = o;
    refs.ref_every = 2;
    skipped.skip_flag = 1;
    using rec::t;
    rec_->record(0, t("2026-03-01 08:00:00"), t("2026-03-01 08:02:00"), rec::kTimed, o);
    rec_->record(0, t("2026-03-01 10:00:00"), t("2026-03-01 10:01:00"), rec::kMotion, o);
    rec_->record(1, t("2026-03-01 09:00:00"), t("2026-03-01 09:01:30"), rec::kMotion | rec::kAlarm, refs);
    rec_->record(3, t("2026-03-01 23:59:30"), t("2026-03-02 00:00:30"), rec::kAlarm, o);
    rec_->record(2, t("2026-03-02 00:00:00"), t("2026-03-02 00:00:40"), rec::kManual, o);
    rec_->record(2, t("2026-03-02 01:00:00"), t("2026-03-02 01:00:20"), rec::kTimed, skipped);
    rec_->finish();
}

const rec::EventTruth &CliDiskTest::event(int chn, const std::string &start) const {
    for (const rec::EventTruth &ev : rec_->events())
        if (ev.chn == chn && ev.start == rec::t(start)) return ev;
    throw std::logic_error("no such event in the test disk");
}

std::vector<uint8_t> CliDiskTest::stored(const rec::EventTruth &ev, uint32_t offset, size_t length) const {
    std::vector<uint8_t> all = rec_->stream(ev);
    size_t from = offset - ev.data_start;
    return std::vector<uint8_t>(all.begin() + long(from), all.begin() + long(from + length));
}

std::vector<uint8_t> CliDiskTest::playback(const rec::EventTruth &ev, const std::string &at) const {
    const rec::KeyFrame &k = key_frame_at(ev, rec::t(at));
    std::vector<uint8_t> out;
    if (has_ref(k)) out = stored(ev, k.ref_offset, (k.ref_length + 7) & ~7u);
    std::vector<uint8_t> rest = stored(ev, k.offset, ev.data_start + ev.data_size - k.offset);
    out.insert(out.end(), rest.begin(), rest.end());
    return out;
}

std::vector<uint8_t> CliDiskTest::key_frames(const rec::EventTruth &ev, const std::string &at) const {
    const rec::KeyFrame *k = &key_frame_at(ev, rec::t(at));
    std::vector<uint8_t> out;
    uint32_t last_ref = 0;
    for (; k != ev.kframes.data() + ev.kframes.size(); ++k) {
        if (has_ref(*k) && k->ref_offset != last_ref) {
            std::vector<uint8_t> ref = stored(ev, k->ref_offset, k->ref_length);
            out.insert(out.end(), ref.begin(), ref.end());
            last_ref = k->ref_offset;
        }
        std::vector<uint8_t> frame = stored(ev, k->offset, k->length);
        out.insert(out.end(), frame.begin(), frame.end());
    }
    return out;
}
