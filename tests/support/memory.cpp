// The allocator, which can be told to refuse. What is lost the leak sanitizer finds.

#include "device.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <dlfcn.h>

#ifdef TARROW_ASAN
#define REAL(name) __interceptor_##name
#else
#define REAL(name) __libc_##name
#endif

namespace testing_device {

thread_local memory_fault fault;

namespace {

bool is_first_attribute = false; // for which the last allocation was

/// The engine of the settings store keeps blocks for later, and is not refused any: the store itself is. Nor is the
/// name of an element's first attribute, without which libmxml loses the room for it.
[[gnu::noinline]] bool is_refused(const void *caller, std::size_t size) {
    Dl_info code = {};
    const char *const library = dladdr(caller, &code) != 0 ? code.dli_fname : "";
    const bool is_spared =
        std::exchange(is_first_attribute, std::strstr(library, "/libmxml.") != nullptr && size == 2 * sizeof(char *));
    if (is_spared || std::strstr(library, "/libsqlite3.") != nullptr || ++fault.seen < fault.first ||
        (fault.seen > fault.first && !fault.is_lasting) || fault.first == 0) {
        return false;
    }
    fault.has_struck = true;
    errno = ENOMEM;
    return true;
}

} // namespace

} // namespace testing_device

using namespace testing_device;

extern "C" {
void *REAL(malloc)(std::size_t size) noexcept;
void *REAL(calloc)(std::size_t count, std::size_t size) noexcept;
void *REAL(realloc)(void *block, std::size_t size) noexcept;

void *malloc(std::size_t size) {
    const bool is_none = fault.is_armed && is_refused(__builtin_return_address(0), size);
    return is_none ? nullptr : REAL(malloc)(size);
}
void *calloc(std::size_t count, std::size_t size) {
    const bool is_none = fault.is_armed && is_refused(__builtin_return_address(0), count * size);
    return is_none ? nullptr : REAL(calloc)(count, size);
}
void *realloc(void *block, std::size_t size) {
    const bool is_none = fault.is_armed && is_refused(__builtin_return_address(0), 0);
    return is_none ? nullptr : REAL(realloc)(block, size);
}
#ifdef TARROW_ASAN // whose own one does not come to the allocator above
char *strdup(const char *text) {
    void *copy = malloc(std::strlen(text) + 1);
    return copy != nullptr ? std::strcpy(static_cast<char *>(copy), text) : nullptr;
}
#endif
}
