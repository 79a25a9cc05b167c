#include "memory.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <unistd.h>

#ifdef TARROW_ASAN
#define REAL(name) __interceptor_##name
#else
#define REAL(name) __libc_##name
#endif

extern "C" {
void *REAL(malloc)(std::size_t size) noexcept;
void *REAL(calloc)(std::size_t count, std::size_t size) noexcept;
void *REAL(realloc)(void *block, std::size_t size) noexcept;
void REAL(free)(void *block) noexcept;
}

namespace testing_device {

thread_local memory_fault fault;
std::jmp_buf *process_end = nullptr;
int end_status = 0;

namespace {

std::array<void *, 100000> blocks;
void *last_attribute = nullptr; // the block, while no other was asked for after it
void *lost_attribute = nullptr;

/// Whether code of a library calls.
bool is_from(const void *caller, const char *library) {
    Dl_info code = {};
    return dladdr(caller, &code) != 0 && std::strstr(code.dli_fname, library) != nullptr;
}

/// The engine of the settings store keeps blocks for later, and is not refused any: the store itself is.
[[gnu::noinline]] bool is_refused(const void *caller) {
    if (!fault.is_armed || is_from(caller, "/libsqlite3.") || ++fault.seen < fault.first ||
        (fault.seen > fault.first && !fault.is_lasting) || fault.first == 0) {
        return false;
    }
    lost_attribute = fault.has_struck ? lost_attribute : last_attribute;
    fault.has_struck = true;
    errno = ENOMEM;
    return true;
}

[[gnu::noinline]] void *remember(void *block, std::size_t size, const void *caller) {
    if (!fault.is_armed || block == nullptr || is_from(caller, "/libsqlite3.")) { return block; }
    blocks[static_cast<std::size_t>(fault.block_count++)] = block;
    last_attribute = size == 2 * sizeof(char *) && is_from(caller, "/libmxml.") ? block : nullptr;
    return block;
}

[[gnu::noinline]] bool forget(const void *block) {
    for (auto i = static_cast<std::size_t>(fault.block_count); i-- > 0;) {
        if (blocks[i] == block) {
            blocks[i] = blocks[static_cast<std::size_t>(--fault.block_count)];
            return true;
        }
    }
    return false;
}

} // namespace

void free_counted_blocks() {
    while (fault.block_count > 0) { REAL(free)(blocks[static_cast<std::size_t>(--fault.block_count)]); }
}

void free_lost_attribute() {
    if (lost_attribute != nullptr && forget(lost_attribute)) { REAL(free)(lost_attribute); }
    lost_attribute = nullptr;
}

} // namespace testing_device

using namespace testing_device;

extern "C" { // most calls pass on with no frame of their own: a test runs on a small stack
void *malloc(std::size_t size) {
    if (!fault.is_armed) { return REAL(malloc)(size); }
    const void *caller = __builtin_return_address(0);
    return is_refused(caller) ? nullptr : remember(REAL(malloc)(size), size, caller);
}
void *calloc(std::size_t count, std::size_t size) {
    if (!fault.is_armed) { return REAL(calloc)(count, size); }
    const void *caller = __builtin_return_address(0);
    return is_refused(caller) ? nullptr : remember(REAL(calloc)(count, size), 0, caller);
}
void *realloc(void *old, std::size_t size) {
    const void *caller = __builtin_return_address(0);
    if (is_refused(caller)) { return nullptr; }
    forget(old);
    return remember(REAL(realloc)(old, size), 0, caller);
}
void free(void *block) {
    if (fault.block_count > 0) { forget(block); }
    REAL(free)(block);
}
#ifdef TARROW_ASAN // whose own one does not come to the allocator above
char *strdup(const char *text) {
    void *copy = malloc(std::strlen(text) + 1);
    return copy != nullptr ? std::strcpy(static_cast<char *>(copy), text) : nullptr;
}
#endif
void exit(int status) {
    end_status = status;
    if (process_end != nullptr) { std::longjmp(*process_end, 1); }
    std::fflush(nullptr);
    _exit(status);
}
}
