// The files of the SIM's state that both source files of this module use.
#pragma once

namespace tarrow {

inline constexpr char pin_attempts_file[] = "/tmp/telephony/pin_attempts";
inline constexpr char puk_attempts_file[] = "/tmp/telephony/puk_attempts";
inline constexpr char pin_enabled_file[] = "/tmp/telephony/pin_enabled";
inline constexpr char cmd_status_file[] = "/tmp/telephony/pin_puk_cmd_status";
inline constexpr char mep_category_file[] = "/tmp/telephony/mep_category";
inline constexpr char scratch_file[] = "/tmp/telephony/.tmpinfo"; // a filtered reply of the modem

/// Reads the PIN lock state from a reply "+CLCK: %d" in the scratch file into *enabled. Another
/// reply does not change it. Returns false when the file cannot be opened.
bool read_lock_state(int *enabled);

} // namespace tarrow
