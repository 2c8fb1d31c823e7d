// httpfetch --demo: a download from the built-in misbehaving server that
// needs a retry after a 503 and a resume after a cut, verified by checksum.
#include "support/HttpfetchTest.hpp"

namespace {

using HttpfetchDemo = support::HttpfetchTest;
using ::testing::HasSubstr;

TEST_F(HttpfetchDemo, RetriesResumesAndEndsWithAMatchingChecksum)
{
    const auto run = runTool({"--demo"});
    EXPECT_EQ(run.exitCode, 0) << run.err;
    EXPECT_THAT(run.out, ::testing::MatchesRegex("demo: 3 attempts, resumed at 13421772 bytes, 33554432 bytes in "
                                                 "[0-9]+\\.[0-9]+ s \\([0-9]+\\.[0-9] MiB/s\\), checksum OK\n"));
    EXPECT_THAT(run.err, HasSubstr("attempt 1 of 4 failed (503 Service Unavailable); retrying in 200 ms\n"));
    EXPECT_THAT(run.err, HasSubstr("); resuming at byte 13421772 in 400 ms\n"));
}

} // namespace
