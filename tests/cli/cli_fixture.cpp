#include "cli_fixture.h"

#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string_view>
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

std::string disk_digest(const std::string &path) {
    std::string digest;
    if (fs::is_directory(path)) {
        std::set<std::string> names;
        for (const auto &e : fs::directory_iterator(path)) names.insert(e.path().filename().string());
        for (const std::string &n : names) digest += n + ":" + disk_digest(path + "/" + n) + " ";
        return digest;
    }
    int fd = open(path.c_str(), O_RDONLY);
    std::vector<char> buf(1 << 20);
    for (off_t at = 0, end; fd >= 0 && (at = lseek(fd, at, SEEK_DATA)) >= 0; at = end)
        for (end = lseek(fd, at, SEEK_HOLE); at < end;) {
            ssize_t n = pread(fd, buf.data(), size_t(std::min<off_t>(off_t(buf.size()), end - at)), at);
            if (n <= 0) return digest + "unreadable";
            digest += std::to_string(at) + ":" + std::to_string(std::hash<std::string_view>{}({buf.data(), size_t(n)})) + " ";
            at += n;
        }
    digest += "size " + std::to_string(fd < 0 ? -1 : lseek(fd, 0, SEEK_END));
    if (fd >= 0) close(fd);
    return digest;
}

std::vector<uint8_t> read_file(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<int> ints(const rfs_json::Value &array) {
    std::vector<int> out;
    for (const rfs_json::Value &i : array.items()) out.push_back(i.get<int>());
    return out;
}

rec::DiskShape disk_shape(int files_per_partition, bool nas, bool headers_only) {
    rec::DiskShape shape;
    shape.files_per_partition = files_per_partition;
    shape.nas = nas;
    shape.headers_only = headers_only;
    return shape;
}

rec::Recorder &RecorderDiskTest::make_disk(int files_per_partition, bool headers_only) {
    disk_ = dir_.file(nas() ? "nas" : "disk.img");
    rec_ = std::make_unique<rec::Recorder>(disk_shape(files_per_partition, nas(), headers_only), disk_);
    return *rec_;
}

rfs_json::Value RecorderDiskTest::json(std::vector<std::string> args, int code) {
    args.insert(args.begin() + 1, disk_);
    args.push_back("--json");
    RunResult r = run_rfs(args);
    EXPECT_EQ(r.code, code) << r.err;
    return rfs_json::Value::parse(r.out);
}

std::string raw_or_nas(const ::testing::TestParamInfo<bool> &info) { return info.param ? "Nas" : "Raw"; }

void CliDiskTest::SetUp() {
    rec::Recorder &r = make_disk(8);
    rec::RecordOptions o{.fps = 10, .key_interval = 20, .key_bytes = 6000, .p_bytes = 600}, skipped = o;
    skipped.skip_flag = 1;
    using rec::t;
    r.record(0, t("2026-03-01 08:00:00"), t("2026-03-01 08:02:00"), rec::kTimed, o);
    r.record(0, t("2026-03-01 10:00:00"), t("2026-03-01 10:01:00"), rec::kMotion, o);
    r.record(1, t("2026-03-01 09:00:00"), t("2026-03-01 09:01:30"), rec::kMotion | rec::kAlarm, o);
    r.record(3, t("2026-03-01 23:59:30"), t("2026-03-02 00:00:30"), rec::kAlarm, o);
    r.record(2, t("2026-03-02 00:00:00"), t("2026-03-02 00:00:40"), rec::kManual, o);
    r.record(2, t("2026-03-02 01:00:00"), t("2026-03-02 01:00:20"), rec::kTimed, skipped);
    r.finish();
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
    return stored(ev, k.offset, ev.data_start + ev.data_size - k.offset);
}

std::vector<uint8_t> CliDiskTest::key_frames(const rec::EventTruth &ev, const std::string &at) const {
    std::vector<uint8_t> out;
    for (const rec::KeyFrame *k = &key_frame_at(ev, rec::t(at)); k != ev.kframes.data() + ev.kframes.size(); ++k) {
        std::vector<uint8_t> frame = stored(ev, k->offset, k->length);
        out.insert(out.end(), frame.begin(), frame.end());
    }
    return out;
}
