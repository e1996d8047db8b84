// rfs-mkdisk SCENARIO.json OUT.img | --nas DIR [--force]: the same command as
// "rfs mkdisk", under the name scripts of the recorder simulator know. It
// refuses an existing image or a folder that holds anything unless --force,
// and writes an image beside its name, renamed only when whole.
#include "commands.h"
#include "run_command.h"

int main(int argc, char **argv) {
    return cli::run_command("mkdisk", cli::run_mkdisk, std::vector<std::string>(argv + 1, argv + argc));
}
