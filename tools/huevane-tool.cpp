// huevane-tool: looks at a device tree copied to a workstation through the library itself, so
// that what it shows is what the device gets.
#include <iostream>
#include <string>
#include <vector>

#include "HuevaneTool.h"

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    const int status = runHuevaneTool(args, std::cout, std::cerr);
    std::cout.flush();
    return status;
}
