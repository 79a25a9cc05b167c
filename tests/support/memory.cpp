#include "memory.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
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

memory_fault fault;
std::jmp_buf process_end;

namespace {

std::array<void *, 100000> blocks;
void *last_attribute = nullptr; // the block, while no other was asked for after it
void *lost_attribute = nullptr;

[[gnu::noinline]] bool is_refused() {
    if (!fault.is_armed || ++fault.seen < fault.first || (fault.seen > fault.first && !fault.is_lasting) ||
        fault.first == 0) {
        return false;
    }
    lost_attribute = fault.has_struck ? lost_attribute : last_attribute;
    fault.has_struck = true;
    errno = ENOMEM;
    return true;
}

[[gnu::noinline]] void *remember(void *block, std::size_t size, const void *caller) {
    if (!fault.is_armed || block == nullptr) { return block; }
    Dl_info code = {};
    dladdr(caller, &code);
    const bool is_engine = std::strstr(code.dli_fname, "/libsqlite3.") != nullptr; // it keeps blocks for later
    if (!is_engine) { blocks[static_cast<std::size_t>(fault.block_count++)] = block; }
    const bool is_attribute = size == 2 * sizeof(char *) && std::strstr(code.dli_fname, "/libmxml.") != nullptr;
    last_attribute = is_attribute ? block : nullptr;
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

void free_lost_attribute() {
    if (lost_attribute != nullptr && forget(lost_attribute)) { REAL(free)(lost_attribute); }
    lost_attribute = nullptr;
}

} // namespace testing_device

using namespace testing_device;

extern "C" { // most calls pass on with no frame of their own: a test runs on a small stack
void *malloc(std::size_t size) {
    if (!fault.is_armed) { return REAL(malloc)(size); }
    return is_refused() ? nullptr : remember(REAL(malloc)(size), size, __builtin_return_address(0));
}
void *calloc(std::size_t count, std::size_t size) {
    if (!fault.is_armed) { return REAL(calloc)(count, size); }
    return is_refused() ? nullptr : remember(REAL(calloc)(count, size), 0, __builtin_return_address(0));
}
void *realloc(void *old, std::size_t size) {
    if (is_refused()) { return nullptr; }
    forget(old);
    return remember(REAL(realloc)(old, size), 0, __builtin_return_address(0));
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
    if (fault.is_armed) { std::longjmp(process_end, 1); }
    std::fflush(nullptr);
    _exit(status);
}
int nanosleep(const timespec *time, timespec *left) { // an operation under the fault does not wait
    const int error = fault.is_armed ? 0 : clock_nanosleep(CLOCK_REALTIME, 0, time, left);
    errno = error != 0 ? error : errno;
    return error != 0 ? -1 : 0;
}
}
