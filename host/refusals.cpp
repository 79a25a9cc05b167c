#include "refusals.h"

#include <array>
#include <utility>

namespace host {
namespace {

struct phase {
    const char *name;
    tarrow_handler_t *applet_info::*handler;
    decltype(&__tarrow_call_module_pre_set_handler) library::*dispatch;
};
constexpr std::array<phase, 2> phases = {{
    {"pre-set", &applet_info::di_handler_pre_set_func, &library::row_pre_set},
    {"post-set", &applet_info::di_handler_post_set_func, &library::row_post_set},
}};

library listened = {};
std::vector<std::string> noted;

tarrow_handler_t *handler = nullptr;
int answer = 0;

int note_answer(int flags, dc_args_t *args) {
    return answer = handler(flags, args);
}

/// Dispatches a phase on the module's row, with the listener in its handler's place.
template <std::size_t Phase>
int dispatch(const char *module, int flags, dc_args_t *args) {
    const phase &p = phases[Phase];
    for (applet_info &row : rows(listened)) {
        if (std::string(module) == row.di_modname) {
            handler =
                std::exchange(row.*p.handler, row.*p.handler != nullptr ? note_answer : nullptr);
            answer = 0;
            const int result = (listened.*p.dispatch)(&row, flags, args);
            if (answer != 0) {
                noted.push_back(std::string(p.name) + ": " + name_of(handler) + "() answered " +
                                std::to_string(answer));
            }
            return result;
        }
    }
    return 0;
}

} // namespace

void listen(library &lib) {
    listened = lib;
    lib.pre_set = dispatch<0>;
    lib.post_set = dispatch<1>;
}

const std::vector<std::string> &refusals() {
    return noted;
}

} // namespace host
