/* The real process with a platform library of its own, which must find every function of the codec. */
#include "tests/process/process_support.h"

#include <cstdlib>
#include <fstream>

using codec_process = process_test;

TEST_F(codec_process, a_loaded_platform_library_finds_and_calls_every_function) {
    const std::string report = folder + "/report";
    setenv("CODEC_PROBE_REPORT", report.c_str(), 1);
    start(root, 1, {"--platform", CODEC_PROBE});
    unsetenv("CODEC_PROBE_REPORT");
    std::string line;
    std::getline(std::ifstream(report), line);
    EXPECT_EQ(line, "0 faults");
    /* One message of the library is refused on purpose. */
    const process_result log = expect_ctl(0, {"log"});
    EXPECT_NE(log.out.find("eltmc_upgrade_msg_to_struct: ERR 0x2\n"), std::string::npos) << log.out;
}
