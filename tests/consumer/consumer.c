/* A host written in C against the installed header and library: checks that
 * rfs.h compiles as C and that the exports link and run. */
#include <rfs.h>
#include <stdio.h>

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
    printf("consumer: %s\n", failures ? "FAILED" : "ok");
    return failures != 0;
}
