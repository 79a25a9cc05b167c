// Dispatch: finds a module's row and runs its handler function or hook script for a phase.

#include "tarrow_applets.h"

#include <array>
#include <cstring>

#include "support/command.h"
#include "support/owned.h"

namespace {

constexpr char temporary_file[] = "/tmp/tarrow.XXXXXX";
constexpr std::size_t command_size = 4096;
constexpr char default_field_delimiter = ':';
constexpr char default_record_delimiter = ' ';

/// The action word of an action code, or null.
const char *action_word(int flags) {
    constexpr std::array<const char *, 6> words = {"start", "stop",    "set",
                                                   "get",   "getlist", "setlist"};
    return flags >= TARROW_ACTION_START && flags <= TARROW_ACTION_SETLIST
               ? words[static_cast<std::size_t>(flags - TARROW_ACTION_START)]
               : nullptr;
}

/// Creates an empty file for the scripts of one set request. Returns its path, or null.
tarrow::heap_string create_temporary_file() {
    tarrow::heap_string path(strdup(temporary_file));
    if (!path) {
        return nullptr;
    }
    if (!tarrow::unique_fd(mkstemp(path.get()))) {
        path.reset();
    }
    return path;
}

int run_get_phase(tarrow_handler_t *handler, const char *script, int flags, dc_args_t *dca) {
    if (handler != nullptr) {
        handler(flags, dca);
    } else if (script != nullptr) {
        tarrow_call_module_run_cmd(script, flags, nullptr);
    }
    return 0;
}

/// A module's row, in a copy of the table that this object owns.
class module_row {
public:
    explicit module_row(const char *modname) {
        int count = 0;
        table_.reset(tarrow_get_module_applets(&count));
        for (int i = 0; table_ && modname != nullptr && i < count; ++i) {
            const applet_info *candidate = table_.get() + i;
            if (std::strcmp(candidate->di_modname, modname) == 0) {
                row_ = candidate;
                return;
            }
        }
    }

    /// The row, or null, with which the operations on a row do nothing.
    [[nodiscard]] const applet_info *get() const { return row_; }

private:
    tarrow::heap<applet_info> table_;
    const applet_info *row_ = nullptr;
};

} // namespace

int __tarrow_call_module_pre_set_handler(const applet_info *di, int flags, dc_args_t *dca) {
    if (di == nullptr) {
        return 0;
    }
    if (di->di_handler_pre_set_func != nullptr) {
        di->di_handler_pre_set_func(flags, dca);
    } else if (di->di_handler_pre_set_cmd != nullptr) {
        if (dca == nullptr) {
            return -1; // the path could not reach post-set
        }
        tarrow::heap_string path = create_temporary_file();
        if (!path) {
            return -1;
        }
        dca->dc_opaque = path.release();
        tarrow_call_module_run_cmd(di->di_handler_pre_set_cmd, flags,
                                   static_cast<const char *>(dca->dc_opaque));
    }
    return 0;
}

int __tarrow_call_module_post_set_handler(const applet_info *di, int flags, dc_args_t *dca) {
    if (di == nullptr) {
        return 0;
    }
    if (di->di_handler_post_set_func != nullptr) {
        di->di_handler_post_set_func(flags, dca);
    } else if (di->di_handler_post_set_cmd != nullptr) {
        const char *path = dca != nullptr ? static_cast<const char *>(dca->dc_opaque) : nullptr;
        tarrow_call_module_run_cmd(di->di_handler_post_set_cmd, flags, path);
        if (path != nullptr) {
            std::free(dca->dc_opaque);
            dca->dc_opaque = nullptr;
        }
    }
    return 0;
}

int __tarrow_call_module_pre_get_handler(const applet_info *di, int flags, dc_args_t *dca) {
    return di != nullptr
               ? run_get_phase(di->di_handler_pre_get_func, di->di_handler_pre_get_cmd, flags, dca)
               : 0;
}

int __tarrow_call_module_post_get_handler(const applet_info *di, int flags, dc_args_t *dca) {
    return di != nullptr ? run_get_phase(di->di_handler_post_get_func, di->di_handler_post_get_cmd,
                                         flags, dca)
                         : 0;
}

int __tarrow_call_module_validate_handler(const applet_info *di, char *variable_name,
                                          dc_args_t *dca) {
    return di != nullptr && di->di_handler_validate_func != nullptr
               ? di->di_handler_validate_func(variable_name, dca)
               : 0;
}

int __tarrow_call_module_upgrade_handler(const applet_info *di, int modver) {
    return di != nullptr && di->di_handler_upgrades != nullptr ? di->di_handler_upgrades(modver)
                                                               : 0;
}

int __tarrow_call_module_dynamic_handler(const applet_info *di, int getset, int flags,
                                         dc_args_t *dca) {
    return di != nullptr && di->di_handler_dynamic != nullptr
               ? di->di_handler_dynamic(getset, flags, dca)
               : 0;
}

int tarrow_call_module_pre_set_handler(const char *modname, int flags, dc_args_t *dca) {
    return __tarrow_call_module_pre_set_handler(module_row(modname).get(), flags, dca);
}

int tarrow_call_module_post_set_handler(const char *modname, int flags, dc_args_t *dca) {
    return __tarrow_call_module_post_set_handler(module_row(modname).get(), flags, dca);
}

int tarrow_call_module_pre_get_handler(const char *modname, int flags, dc_args_t *dca) {
    return __tarrow_call_module_pre_get_handler(module_row(modname).get(), flags, dca);
}

int tarrow_call_module_post_get_handler(const char *modname, int flags, dc_args_t *dca) {
    return __tarrow_call_module_post_get_handler(module_row(modname).get(), flags, dca);
}

int tarrow_call_module_validate_handler(const char *modname, char *variable_name, dc_args_t *dca) {
    return __tarrow_call_module_validate_handler(module_row(modname).get(), variable_name, dca);
}

int tarrow_call_module_dynamic_handler(const char *modname, int getset, int flags, dc_args_t *dca) {
    return __tarrow_call_module_dynamic_handler(module_row(modname).get(), getset, flags, dca);
}

void tarrow_call_module_get_delimiters(const char *modname, char *fd, char *rd) {
    const module_row row(modname);
    if (fd != nullptr) {
        *fd = row.get() != nullptr ? row.get()->di_fd : '\0';
        *fd = *fd != '\0' ? *fd : default_field_delimiter;
    }
    if (rd != nullptr) {
        *rd = row.get() != nullptr ? row.get()->di_rd : '\0';
        *rd = *rd != '\0' ? *rd : default_record_delimiter;
    }
}

void tarrow_call_module_run_cmd(const char *cmdname, int flags, const char *opaque) {
    const char *action = action_word(flags);
    if (cmdname == nullptr || action == nullptr) {
        return;
    }
    tarrow::command_line<command_size> line;
    line.text(cmdname).text(" ").text(action);
    if (opaque != nullptr) {
        line.text(" ");
        if (*opaque != '\0') { // word() would make '' of it
            line.word(opaque);
        }
    }
    tarrow::run(line);
}
