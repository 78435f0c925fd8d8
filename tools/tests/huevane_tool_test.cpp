// huevane-tool run in process on the sample device and on the files in tools/testdata.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "HuevaneTool.h"

namespace {

const std::string SOURCE = HUEVANE_SOURCE_DIR;
const std::string DEVICE = SOURCE + "/examples/device";
const std::string DATA = SOURCE + "/tools/testdata";

struct ToolRun {
    int status;
    std::string out;
    std::string err;
};

ToolRun runTool(const std::vector<std::string>& args) {
    std::ostringstream out;
    std::ostringstream err;
    const int status = runHuevaneTool(args, out, err);
    return {status, out.str(), err.str()};
}

TEST(ToolUsage, ExitStatus) {
    EXPECT_EQ(runTool({"--version"}).status, TOOL_OK);
    EXPECT_EQ(runTool({"help"}).status, TOOL_OK);
    EXPECT_EQ(runTool({"--bogus"}).status, TOOL_USAGE);
    EXPECT_EQ(runTool({"--root", DEVICE, "modes"}).status, TOOL_OK);
}

}  // namespace
