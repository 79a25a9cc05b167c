#include "request.h"

#include <memory>
#include <optional>

#include "cfgdb.h"
#include "table.h"

namespace host {
namespace {

qstr_t counted(const std::string &text) {
    return {static_cast<unsigned int>(text.size()),
            reinterpret_cast<unsigned char *>(const_cast<char *>(text.c_str()))};
}

/// Reads a setting; no value when it is absent. False when the store cannot be opened.
bool load_value(const std::string &module, const std::string &path,
                std::optional<std::string> &value) {
    cfgdb_handle_t *handle = cfgdb_open(module.c_str());
    if (handle == nullptr) {
        return false;
    }
    const qstr_t key = counted(path);
    const std::unique_ptr<char, decltype(&std::free)> stored(cfgdb_get(handle, &key), &std::free);
    cfgdb_close(handle);
    value = stored ? std::optional<std::string>(stored.get()) : std::nullopt;
    return true;
}

using visitor = std::function<void(const std::string &path, element_kind kind, mxml_node_t *)>;

/// Visits the lists, and the elements without child elements, below an element.
void for_each_leaf(const page_schema &schema, mxml_node_t *parent, const std::string &prefix,
                   const visitor &visit) {
    for (mxml_node_t *element = first_element(parent); element != nullptr;
         element = next_element(element)) {
        const std::string path = prefix + mxmlGetElement(element);
        const element_kind kind = schema.kind(path);
        if (kind == element_kind::list || first_element(element) == nullptr) {
            visit(path, kind, element);
        } else {
            for_each_leaf(schema, element, path + ".", visit);
        }
    }
}

/// The table of a list-valued setting, with the module's delimiters.
class list_table {
public:
    list_table(const library &lib, const std::string &module, const std::string &fields)
        : lib_(lib), table_(new dlist_node_t) {
        lib_.get_delimiters(module.c_str(), &field_, &record_);
        lib_.dlist_init(table_.get());
        lib_.get_meta_fields(fields.c_str(), table_.get(), '#');
        field_count_ = lib_.count_meta_fields(fields.c_str(), '#');
    }
    list_table(const list_table &) = delete;
    list_table &operator=(const list_table &) = delete;
    ~list_table() { lib_.free_dlist(table_.get()); }

    dlist_node_t *get() { return table_.get(); }
    void parse(const std::string &value) {
        lib_.variable_to_dlist(value.c_str(), table_.get(), field_count_, field_, record_);
    }
    [[nodiscard]] std::string text() const {
        char *value = nullptr;
        lib_.dlist_to_variable(&value, table_.get(), field_, record_);
        const std::unique_ptr<char, decltype(&std::free)> owned(value, &std::free);
        return value != nullptr ? value : "";
    }

private:
    const library &lib_;
    std::unique_ptr<dlist_node_t> table_;
    char field_ = 0;
    char record_ = 0;
    int field_count_ = 0;
};

/// The posted text of an element.
std::string posted_text(mxml_node_t *element) {
    mxml_node_t *child = mxmlGetFirstChild(element);
    const char *text = child != nullptr ? mxmlGetOpaque(child) : nullptr;
    return text != nullptr ? text : "";
}

} // namespace

std::vector<std::string> unknown_elements(const page_schema &schema, mxml_node_t *request) {
    std::vector<std::string> paths;
    for_each_leaf(schema, request, "",
                  [&](const std::string &path, element_kind kind, mxml_node_t * /*element*/) {
                      if (kind == element_kind::unknown) {
                          paths.push_back(path);
                      }
                  });
    return paths;
}

bool get(const library &lib, const page_schema &schema, const std::string &module,
         mxml_node_t *request, std::string &reason) {
    bool is_open = true;
    std::optional<std::string> value;
    for_each_leaf(
        schema, request, "", [&](const std::string &path, element_kind kind, mxml_node_t *element) {
            const bool is_stored = kind == element_kind::setting || kind == element_kind::unknown;
            if (is_stored && mxmlGetFirstChild(element) == nullptr) {
                is_open = load_value(module, path, value) && is_open;
                if (value) {
                    mxmlNewOpaque(element, value->c_str());
                }
            }
        });
    dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = request}, nullptr};
    lib.pre_get(module.c_str(), TARROW_ACTION_GET, &args);
    for_each_leaf(
        schema, request, "", [&](const std::string &path, element_kind kind, mxml_node_t *element) {
            if (kind != element_kind::list) {
                return;
            }
            list_table table(lib, module, schema.fields(path));
            is_open = load_value(module, path, value) && is_open;
            table.parse(value.value_or(""));
            dc_args_t list_args = {TARROW_CB_ARGS_DLIST, {.dc_dlist = table.get()}, nullptr};
            lib.post_get(module.c_str(), TARROW_ACTION_GETLIST, &list_args);
            lib.dlist_to_xmllist(table.get(), element);
        });
    lib.post_get(module.c_str(), TARROW_ACTION_GET, &args);
    if (!is_open) {
        reason = "the settings store cannot be opened";
    }
    return is_open;
}

handler_call record_results(std::vector<std::string> &handler_errors) {
    return [&](const char *phase, tarrow_handler_t *handler, int flags, dc_args_t *args) {
        const int result = handler(flags, args);
        if (result != 0) {
            handler_errors.push_back(std::string(phase) + ": " + name_of(handler) + "() answered " +
                                     std::to_string(result));
        }
        return result;
    };
}

bool set(const library &lib, const page_schema &schema, const applet_info &row,
         mxml_node_t *request, const handler_call &call_handler, std::string &reason) {
    const std::string module = row.di_modname;
    dc_args_t args = {TARROW_CB_ARGS_XML, {.dc_subnode = request}, nullptr};
    // The dispatch operations run scripts here, but not handlers: they drop what a handler returns.
    if (row.di_handler_pre_set_func != nullptr) {
        call_handler("pre-set", row.di_handler_pre_set_func, TARROW_ACTION_SET, &args);
    } else if (lib.pre_set(row.di_modname, TARROW_ACTION_SET, &args) != 0) {
        reason = "the request's temporary file could not be created";
        return false;
    }
    cfgdb_handle_t *store = cfgdb_open(row.di_modname);
    bool is_stored = store != nullptr;
    for_each_leaf(schema, request, "",
                  [&](const std::string &path, element_kind kind, mxml_node_t *element) {
                      const bool is_list = kind == element_kind::list;
                      if (store == nullptr || (!is_list && kind != element_kind::setting)) {
                          return;
                      }
                      std::string text = posted_text(element);
                      if (is_list) {
                          list_table table(lib, module, schema.fields(path));
                          std::optional<std::string> stored;
                          is_stored = load_value(module, path, stored) && is_stored;
                          table.parse(stored.value_or(""));
                          lib.xmllist_to_dlist(element, table.get());
                          text = table.text();
                      }
                      const qstr_t key = counted(path);
                      const qstr_t value = counted(text);
                      is_stored = cfgdb_set(store, &key, &value) == 0 && is_stored;
                  });
    if (store != nullptr) {
        is_stored = cfgdb_close(store) == 0 && is_stored;
    }
    if (row.di_handler_post_set_func != nullptr) {
        call_handler("post-set", row.di_handler_post_set_func, TARROW_ACTION_SET, &args);
    } else {
        lib.post_set(row.di_modname, TARROW_ACTION_SET, &args);
    }
    if (!is_stored) {
        reason = "the settings store did not take the values";
    }
    return is_stored;
}

} // namespace host
