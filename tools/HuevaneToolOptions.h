// Command-line reading shared by huevane-tool's subcommands: strict numbers (a typo must not
// become display 0) and the options every level accepts.
#ifndef HUEVANE_TOOLS_HUEVANETOOLOPTIONS_H
#define HUEVANE_TOOLS_HUEVANETOOLOPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

constexpr int TOOL_OK = 0;
constexpr int TOOL_FAILED = 1;
constexpr int TOOL_USAGE = 2;

struct HuevaneToolGlobals {
    std::string root = "/";
    uint32_t display = 0;
    bool help = false;
};

// Whole-string unsigned decimal (or 0x hex); false on anything else.
bool parseUnsigned(const std::string& text, uint32_t* value);
// Whole-string float; false on anything else.
bool parseFloat(const std::string& text, float* value);
// Splits at commas and white space, dropping empty pieces.
std::vector<std::string> splitList(const std::string& text);

// Walks argv[first..argc). Takes --root, --display and --help wherever they stand and hands every
// other argument to the subcommand through next().
class HuevaneToolArgs {
  public:
    HuevaneToolArgs(int argc, char** argv, int first, HuevaneToolGlobals* globals)
        : mArgc(argc), mArgv(argv), mIndex(first), mGlobals(globals) {}

    // The next argument that is not a global option; false at the end or after a usage error.
    bool next(std::string* arg);
    // The value of the option just read; false (with a message) when it is missing.
    bool value(const std::string& option, std::string* text);
    // The next argument, left in place; false at the end.
    bool peek(std::string* arg) const;
    bool failed() const { return mFailed; }
    // Prints "huevane-tool: <message>" and marks the command line as unusable.
    void fail(const std::string& message);

  private:
    int mArgc;
    char** mArgv;
    int mIndex;
    HuevaneToolGlobals* mGlobals;
    bool mFailed = false;
};

#endif  // HUEVANE_TOOLS_HUEVANETOOLOPTIONS_H
