// Files of the file-sharing page: creates folders, renames and deletes. Posted paths stay on the
// card.

#include "http_share_applet.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <dirent.h>
#include <sys/stat.h>

#include "posted.h"
#include "support/command.h"
#include "support/owned.h"
#include "support/text.h"
#include "support/xml.h"

using tarrow::heap_string;
using tarrow::posted_text;

namespace {

constexpr char card[] = "/mnt/external_sdcard";
constexpr std::size_t card_length = sizeof(card) - 1;
constexpr std::size_t page_root_length = 5;        // of the page's name for the card
constexpr std::size_t max_new_folder_length = 200; // characters of a posted path
constexpr std::size_t max_name_length = 255;       // of an entry to delete
constexpr std::size_t full_path_size = 512;        // of an entry to delete
constexpr std::size_t child_path_size = 1024;      // of an entry below it
constexpr int open_folders = 16;                   // at most, while a tree is removed

struct close_folder {
    void operator()(DIR *stream) const { closedir(stream); }
};
using folder = std::unique_ptr<DIR, close_folder>;

/// Whether a function is true for all components of a path. It gets the start and length of each.
template <typename Function>
bool all_components(const char *path, Function function) {
    for (path += std::strspn(path, "/"); *path != '\0'; path += std::strspn(path, "/")) {
        const std::size_t length = std::strcspn(path, "/");
        if (!function(path, length)) {
            return false;
        }
        path += length;
    }
    return true;
}

bool is_dot(const char *name, std::size_t length) {
    return length == 1 && name[0] == '.';
}

bool is_dot_dot(const char *name, std::size_t length) {
    return length == 2 && name[0] == '.' && name[1] == '.';
}

/// Whether the text of a posted path leads to the card. It can still go through a link.
bool is_share_path(const char *posted) {
    if (std::strlen(posted) < page_root_length) {
        return false;
    }
    const char *below = posted + page_root_length;
    return (*below == '\0' || *below == '/') &&
           all_components(below, [](const char *name, std::size_t length) {
               return !is_dot_dot(name, length);
           });
}

/// Whether a posted path is the card's root.
bool is_card_root(const char *posted) {
    return all_components(posted + page_root_length, is_dot);
}

/// Whether a folder in a device path below the card's root is a symbolic link, which could lead
/// away from the card. Checks the last component only when a "/" follows it.
bool goes_through_link(char *path) {
    char *slash = path + card_length;
    if (*slash == '\0') {
        return false;
    }
    while ((slash = std::strchr(slash + 1, '/')) != nullptr) {
        struct stat status;
        *slash = '\0';
        const bool is_link = lstat(path, &status) == 0 && S_ISLNK(status.st_mode);
        *slash = '/';
        if (is_link) {
            return true;
        }
    }
    return false;
}

/// The length of a path without "/" and "/." at its end, which would make the kernel follow a link.
std::size_t entry_length(const char *path) {
    std::size_t length = std::strlen(path);
    while (length > 1 &&
           (path[length - 1] == '/' || (path[length - 1] == '.' && path[length - 2] == '/'))) {
        --length;
    }
    return length;
}

heap_string device_path_of(const char *posted) {
    char *path = nullptr;
    remove_mmc2(posted, &path);
    return heap_string(path);
}

/// The next entry of a folder, without "." and "..", or null.
const dirent *next_entry(DIR *stream) {
    const dirent *entry = nullptr;
    do {
        entry = readdir(stream);
    } while (entry != nullptr &&
             (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0));
    return entry;
}

folder open_folder(const char *path) {
    tarrow::unique_fd fd(open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    folder stream(fd ? fdopendir(fd.get()) : nullptr);
    if (stream) {
        fd.release();
    }
    return stream;
}

bool remove_folder(char *path, std::size_t length, int levels_left_open);

/// Removes an entry of a folder. The buffer path has child_path_size bytes and contains the
/// folder's path. Closes the folder before it goes into the entry when no more levels may stay
/// open.
bool remove_entry(folder &parent, const dirent *entry, char *path, std::size_t length,
                  int levels_left_open) {
    const std::size_t name_length = std::strlen(entry->d_name);
    const std::size_t child_length = length + 1 + name_length;
    if (child_length >= child_path_size) {
        return false; // a cut path could be the path of another entry
    }
    if (entry->d_type != DT_DIR && unlinkat(dirfd(parent.get()), entry->d_name, 0) == 0) {
        return true;
    }
    path[length] = '/';
    std::memcpy(path + length + 1, entry->d_name, name_length + 1);
    if (levels_left_open == 0) {
        parent.reset();
    }
    const bool is_removed = remove_folder(path, child_length, std::max(levels_left_open - 1, 0));
    path[length] = '\0';
    return is_removed;
}

/// Removes a folder and everything in it, as far as possible. levels_left_open limits the number of
/// folders that are open at the same time. Below that level, each folder is closed while one of its
/// subfolders is removed. It is then opened again, and reading skips the entries that could not be
/// removed.
bool remove_folder(char *path, std::size_t length, int levels_left_open) {
    std::size_t remaining = 0;
    bool complete = false;
    while (!complete) {
        folder stream = open_folder(path);
        if (!stream) {
            break; // rmdir can still remove it if it is empty
        }
        for (std::size_t skipped = 0; skipped < remaining && next_entry(stream.get()) != nullptr;) {
            ++skipped;
        }
        while (stream && !complete) {
            const dirent *entry = next_entry(stream.get());
            complete = entry == nullptr;
            if (!complete && !remove_entry(stream, entry, path, length, levels_left_open)) {
                ++remaining;
            }
        }
    }
    return rmdir(path) == 0;
}

} // namespace

void get_opaque_string_by_name(mxml_node_t *root, const char *name, const char **value) {
    mxml_node_t *element = tarrow::find_below(root, name);
    if (element != nullptr && value != nullptr) {
        *value = tarrow::opaque_text(element);
    }
}

void remove_mmc2(const char *posted, char **device_path) {
    if (posted == nullptr || device_path == nullptr || !is_share_path(posted)) {
        return;
    }
    const char *below = posted + page_root_length;
    const std::size_t length = std::strlen(below);
    auto *path = static_cast<char *>(std::malloc(card_length + length + 1));
    if (path != nullptr) {
        std::memcpy(path, card, card_length);
        std::memcpy(path + card_length, below, length + 1);
        *device_path = path;
    }
}

void update_file_time(const char *path, const char *time) {
    if (path == nullptr || time == nullptr || !tarrow::is_made_of(time, " :.,+-/@")) {
        return;
    }
    const heap_string entry(strndup(path, entry_length(path)));
    const std::size_t size =
        sizeof("touch -d \"\" ./''") + std::strlen(time) + 4 * std::strlen(path);
    const heap_string buffer(static_cast<char *>(std::malloc(size)));
    struct stat status;
    if (!entry || !buffer || (lstat(entry.get(), &status) == 0 && S_ISLNK(status.st_mode))) {
        return;
    }
    tarrow::command_builder line(buffer.get(), size);
    line.text("touch -d \"").text(time).text("\" ");
    tarrow::run(line.text(*path == '-' ? "./" : "").word(path));
}

void force_rm(const char *path) {
    std::array<char, child_path_size> buffer;
    const std::size_t length = path != nullptr ? entry_length(path) : 0;
    if (length == 0 || length >= buffer.size()) {
        return;
    }
    std::memcpy(buffer.data(), path, length);
    buffer[length] = '\0';
    if (unlink(buffer.data()) != 0) {
        remove_folder(buffer.data(), length, open_folders);
    }
}

int http_share_new(mxml_node_t *root) {
    tarrow::run("touch /tmp/dbg_new_1");
    const char *posted = posted_text(root, "path_SD_CARD");
    const char *time = posted_text(root, "path_SD_CARD_time");
    if (posted == nullptr || time == nullptr || std::strlen(posted) > max_new_folder_length ||
        !is_share_path(posted)) {
        return -1;
    }
    const heap_string path = device_path_of(posted);
    if (!path || goes_through_link(path.get())) {
        return -1;
    }
    const int result = mkdir(path.get(), 0777);
    update_file_time(path.get(), time);
    return result;
}

int http_share_rename(mxml_node_t *root) {
    const char *old_posted = posted_text(root, "OLD_NAME_SD_CARD");
    const char *new_posted = posted_text(root, "NEW_NAME_SD_CARD");
    const char *time = posted_text(root, "path_SD_CARD_time");
    if (posted_text(root, "path_SD_CARD") == nullptr || new_posted == nullptr ||
        old_posted == nullptr || time == nullptr) {
        return -1;
    }
    for (const char *posted : {old_posted, new_posted}) {
        if (!is_share_path(posted) || is_card_root(posted)) {
            return -1;
        }
    }
    const heap_string old_path = device_path_of(old_posted);
    const heap_string new_path = device_path_of(new_posted);
    if (!old_path || !new_path) {
        return 0;
    }
    tarrow::command_line<1024> trace;
    trace.text("echo ").word(old_path.get()).text("=").word(new_path.get()).text(" > /tmp/dbg1");
    if (!trace.complete() || goes_through_link(old_path.get()) ||
        goes_through_link(new_path.get())) {
        return -1;
    }
    tarrow::run(trace);
    const int result = rename(old_path.get(), new_path.get());
    update_file_time(new_path.get(), time);
    return result;
}

int http_share_del(mxml_node_t *root) {
    const char *posted = posted_text(root, "path_SD_CARD");
    const char *names = posted_text(root, "name_SD_CARD");
    if (posted == nullptr || names == nullptr || !is_share_path(posted)) {
        return -1;
    }
    const heap_string path = device_path_of(posted);
    if (!path) {
        return 1;
    }
    std::array<char, full_path_size> full_path;
    // Writes the path of the first name of a list to full_path. Returns the rest of the list, or
    // null when it refuses the name.
    const auto format_next_path = [&](const char *list) -> const char * {
        const std::size_t length = std::strcspn(list, "*");
        if (list[length] == '\0' || length == 0 || length > max_name_length ||
            is_dot(list, length) || is_dot_dot(list, length) ||
            std::memchr(list, '/', length) != nullptr) {
            return nullptr;
        }
        const int full_length = std::snprintf(full_path.data(), full_path.size(), "%s/%.*s",
                                              path.get(), static_cast<int>(length), list);
        return full_length < static_cast<int>(full_path.size()) ? list + length + 1 : nullptr;
    };
    const char *rest = names;
    do {
        rest = format_next_path(rest);
        if (rest == nullptr || goes_through_link(full_path.data())) {
            return -1;
        }
    } while (*rest != '\0');
    for (rest = names; *rest != '\0';) {
        rest = format_next_path(rest);
        force_rm(full_path.data());
    }
    return 0;
}

int http_share_enter_folder(mxml_node_t * /*root*/) {
    return 0;
}
