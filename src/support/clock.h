// Waiting.
#pragma once

namespace tarrow {

/// Waits that long, also when signals arrive.
void wait_ms(int milliseconds);

} // namespace tarrow
