// The settings store with processes side by side.

#include "support/device.h"

namespace {

using programs_test = device_test;

TEST_F(programs_test, processes_race_to_make_the_store) {
    output_of("for m in a b c d; do (for k in 1 2 3 4 5 6 7 8; do cfgdb_cmd set $m $k x; done) & "
              "done; wait");
    EXPECT_EQ(output_of("cfgdb_cmd list | grep -c ' x$'"), "32\n");
}

} // namespace
