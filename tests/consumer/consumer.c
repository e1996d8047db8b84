/* A host written in C against the installed headers and libraries: rfs.h and
 * rfs_posix.h compile as C, and both libraries link and run. */
#include <rfs.h>
#include <rfs_posix.h>
#include <stdio.h>
#include <string.h>

int main(void) {
    char name[RFS_POSIX_NAME_SIZE];
    const char *long_path = "/a/path/well/beyond/the/sixty-three/characters/the/library/keeps/disk.img";
    int failures = 0;
    failures += rfs_posix_install() != 0;
    failures += rfs_init(4, 1) != RFS_OK;
    failures += rfs_posix_disk_name(long_path, name, sizeof name) != 0 || strlen(name) >= 64;
    failures += rfs_add_disk(0, name, 0, 0, NULL) != RFS_ERR_FAILED; /* short, but no such disk */
    failures += rfs_exit() != RFS_OK;
    rfs_posix_forget_names();
    printf("consumer: %s\n", failures ? "FAILED" : "ok");
    return failures != 0;
}
