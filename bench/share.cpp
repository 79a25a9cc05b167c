// Deletes a large folder on the card.

#include "pair.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "../src/modules/http_share/http_share_applet.h"

namespace {

constexpr char tree[] = "/mnt/external_sdcard/tree";

/// 10,000 files in 100 folders.
void make_tree() {
    mkdir(tree, 0777);
    for (int i = 0; i < 10000; ++i) {
        char path[64];
        std::snprintf(path, sizeof(path), "%s/%d", tree, i / 100);
        mkdir(path, 0777);
        std::snprintf(path, sizeof(path), "%s/%d/%d", tree, i / 100, i);
        close(open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0666));
    }
}

} // namespace

void bench::register_share() {
    bench::pair(
        "removal of 10,000 files", 1.1, [] { force_rm(tree); },
        [] { benchmark::DoNotOptimize(std::system("rm -rf /mnt/external_sdcard/tree")); }, 41,
        make_tree);
}
