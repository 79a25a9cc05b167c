// The file-sharing page: the posted actions on the SD card.

#include "http_share_applet.h"

#include <array>

#include "posted.h"
#include "support/callback.h"
#include "support/files.h"
#include "support/xml.h"

using tarrow::posted_text;

namespace {

int switch_mode(mxml_node_t *root) {
    return set_httpshare_mode(posted_text(root, "mode_set"));
}

/// Looks for a file under the posted path, unchanged, and adds the result to the path's element.
int check_file(mxml_node_t *root) {
    constexpr std::array<const char *, 3> words = {"no_sdcard", "noexist", "exist"};
    const int result = check_httpshare_file(posted_text(root, "path_SD_CARD"));
    if (result < 0) {
        return -1;
    }
    tarrow::add_text(tarrow::find_below(root, "path_SD_CARD"),
                     words[static_cast<std::size_t>(result)]);
    return 0;
}

int store_settings(mxml_node_t *root) {
    return set_httpshare_auth_param(posted_text(root, "HTTP_SHARE_STATUS"),
                                    posted_text(root, "HTTP_SHARE_WR_AUTH"),
                                    posted_text(root, "HTTP_SHARE_FILE"));
}

} // namespace

int http_share_xml_set(mxml_node_t *root) {
    const char *action = posted_text(root, "http_share_action");
    if (action == nullptr) {
        return -1;
    }
    switch (tarrow::parse_number(action).value_or(0)) {
    case 2:
        return switch_mode(root);
    case 3:
        return check_file(root);
    case 4:
        return store_settings(root);
    case 5:
        return http_share_enter_folder(root);
    case 6:
        return http_share_rename(root);
    case 8:
        return http_share_del(root);
    case 9:
        return http_share_new(root);
    default:
        return -1;
    }
}

int http_share_post_set(int /*flags*/, dc_args_t *dc) {
    mxml_node_t *root = tarrow::subtree_of(dc);
    return root != nullptr ? http_share_xml_set(root) : -1;
}
