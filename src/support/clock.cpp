#include "support/clock.h"

#include <cerrno>
#include <ctime>

void tarrow::wait_ms(int milliseconds) {
    timespec left = {milliseconds / 1000, milliseconds % 1000 * 1000000L};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
}
