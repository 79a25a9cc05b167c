// Pages read and written through the dispatch by module name: task "get MODULE" or "set MODULE", the text the
// module's element. A get with the parts "names" and "list" asks for a list-valued setting too.

#include <cstring>
#include <regex>

#include "support/world.h"

namespace {

/// What a handler may put into an element that the request left empty.
struct range {
    const char *element;
    std::regex pattern;
};
constexpr char dotted[] = "(25[0-5]|2[0-4]\\d|1?\\d?\\d)(\\.(25[0-5]|2[0-4]\\d|1?\\d?\\d)){3}";
const range ranges[] = {
    {"wan_link_status", std::regex("Connected|Disconnected")},
    {"ip4", std::regex(dotted)},
    {"gateway", std::regex(dotted)},
    {"dns1", std::regex("[0-9.]{3,}")},
    {"pc_mac", std::regex("\\S{1,17}")},
    {"conn_days", std::regex("\\d+")},
    {"conn_hours", std::regex("1?\\d|2[0-3]")},
    {"conn_minutes", std::regex("[1-5]?\\d")},
    {"nr_connected_dev", std::regex("\\d+")},
    {"ext_registrar", std::regex("[01]")},
    {"ap_pin", std::regex("[^]{0,8}")},
    {"progress", std::regex("-?\\d{1,9}")},
    {"output", std::regex("[^]{0,1023}")},
    {"wps_result", std::regex("[^]?")},
};

void check_ranges(mxml_node_t *root) {
    for (const range &row : ranges) {
        mxml_node_t *element = mxmlFindElement(root, root, row.element, nullptr, nullptr, MXML_DESCEND);
        const fuzz::text number(strdup(std::to_string(mxmlGetInteger(element)).c_str()));
        mxml_node_t *value = mxmlGetFirstChild(element);
        const char *text = mxmlGetType(value) == MXML_INTEGER  ? number.get()
                           : mxmlGetType(value) == MXML_OPAQUE ? mxmlGetOpaque(value)
                                                               : mxmlGetText(value, nullptr);
        if (text != nullptr) { fuzz::require(std::regex_match(text, row.pattern), row.element, text); }
    }
}

void get_list(fuzz::world &world, const char *module) {
    char fd = 0;
    char rd = 0;
    tarrow_call_module_get_delimiters(module, &fd, &rd);
    const fuzz::table list = fuzz::new_table(world.parts["names"], world.parts["list"], fd, rd);
    dc_args_t args = {TARROW_CB_ARGS_DLIST, {.dc_dlist = list.get()}, nullptr};
    tarrow_call_module_post_get_handler(module, TARROW_ACTION_GETLIST, &args);
    fuzz::stored_text(list.get(), fd, rd);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    fuzz::world world(data, size);
    const fuzz::tree page = fuzz::parse(world.text);
    if (!page || world.task.size() < 4) { return 0; }
    const char *module = &world.task[4];
    bool is_bare = true; // no text in it
    for (mxml_node_t *node = page.get(); node != nullptr; node = mxmlWalkNext(node, page.get(), MXML_DESCEND)) {
        is_bare = is_bare && mxmlGetType(node) == MXML_ELEMENT;
    }
    dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = page.get()}, nullptr};
    if (world.task[0] == 's') {
        tarrow_call_module_pre_set_handler(module, TARROW_ACTION_SET, &args);
        tarrow_call_module_post_set_handler(module, TARROW_ACTION_SET, &args);
        fuzz::require(args.dc_opaque == nullptr, "the temporary file's name is released");
        return 0;
    }
    tarrow_call_module_pre_get_handler(module, TARROW_ACTION_GET, &args);
    if (world.exists("list")) { get_list(world, module); }
    tarrow_call_module_post_get_handler(module, TARROW_ACTION_GET, &args);
    if (is_bare) { check_ranges(page.get()); }
    fuzz::serialise(page.get());
    return 0;
}
