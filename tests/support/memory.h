// The allocator of the whole test program, which can be told to refuse: it serves the library, libmxml,
// the settings store and the C library alike.
#pragma once

#include <csetjmp>
#include <utility>

namespace testing_device {

struct memory_fault {
    bool is_armed = false;
    bool is_lasting = false; // from the first one on all are refused
    bool has_struck = false;
    long first = 0, seen = 0; // the allocation that is refused, and how many were asked for while armed
    long block_count = 0;     // blocks allocated while armed, and not freed since
};
extern thread_local memory_fault fault;

/// While it lives no memory is refused: it is a test that asks for it.
struct own_memory {
    const bool was_armed = std::exchange(fault.is_armed, false);
    own_memory() = default;
    own_memory(const own_memory &) = delete;
    own_memory &operator=(const own_memory &) = delete;
    ~own_memory() { fault.is_armed = was_armed; }
};

/// Where an operation goes on that ends the process, unless null.
extern std::jmp_buf *process_end;
extern int end_status; // that it gave

/// Frees all blocks that are counted, as the end of a process does.
void free_counted_blocks();

/// Frees the one block that libmxml itself loses: the room for an element's first attribute, when there is
/// none for the attribute's name. No caller can reach it or foresee it.
void free_lost_attribute();

} // namespace testing_device
