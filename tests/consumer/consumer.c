/* A host written in C against the installed header and library: checks that
 * rfs.h compiles as C and that the exports link and run. */
#include <rfs.h>
#include <rfs_posix.h>
#include <stdio.h>
#include <string.h>

static int no_open(const char *path, int flags) { (void)path; (void)flags; return -1; }
static int no_close(int fd) { (void)fd; return 0; }
static int no_read(int fd, void *buf, uint32_t len, int64_t off) {
    (void)fd; (void)buf; (void)len; (void)off; return -1;
}
static int no_write(int fd, const void *buf, uint32_t len, int64_t off) {
    (void)fd; (void)buf; (void)len; (void)off; return -1;
}
static int no_sync(int fd) { (void)fd; return 0; }

int main(void) {
    int failures = 0;
    failures += rfs_set_operate_cb(no_open, no_close, no_read, no_write, no_sync) != 0;
    failures += rfs_init(0, 1) != RFS_ERR_FAILED;
    failures += rfs_init(4, 1) != RFS_OK;
    failures += rfs_exit() != RFS_OK;

    /* The companion library: POSIX storage and a short name for a long path. */
    char name[RFS_POSIX_NAME_SIZE], tiny[3];
    const char *long_path = "/a/path/well/beyond/the/sixty-three/characters/the/library/keeps/disk.img";
    failures += rfs_posix_install() != 0;
    failures += rfs_posix_disk_name(long_path, name, sizeof name) != 0 || strlen(name) >= 64;
    failures += rfs_posix_disk_name(long_path, tiny, sizeof tiny) != RFS_ERR_BUFFER;
    failures += rfs_add_disk(0, long_path, 0, 0, NULL) != RFS_ERR_FAILED; /* too long for the library */
    failures += rfs_add_disk(0, name, 0, 0, NULL) != RFS_ERR_FAILED;      /* short, but no such disk */
    rfs_posix_forget_names();
    printf("consumer: %s\n", failures ? "FAILED" : "ok");
    return failures != 0;
}
