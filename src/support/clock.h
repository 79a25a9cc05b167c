// Waiting.
#pragma once

namespace tarrow {

/// Waits for some milliseconds, whatever signals come.
void wait_ms(int milliseconds);

} // namespace tarrow
