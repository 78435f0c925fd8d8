// huevane-tool as a function: main() is a thin wrapper, and tests call it in process.
#ifndef HUEVANE_TOOLS_HUEVANETOOL_H
#define HUEVANE_TOOLS_HUEVANETOOL_H

#include <ostream>
#include <string>
#include <vector>

// Exit status, the same for every command.
constexpr int TOOL_OK = 0;      // success, nothing found
constexpr int TOOL_FAILED = 1;  // failure, or problems found
constexpr int TOOL_USAGE = 2;   // the command line cannot be used

// Runs the tool on `args` (without the program name). Normal output goes to `out`, every
// diagnostic to `err`. Returns the exit status.
int runHuevaneTool(const std::vector<std::string>& args, std::ostream& out, std::ostream& err);

#endif  // HUEVANE_TOOLS_HUEVANETOOL_H
