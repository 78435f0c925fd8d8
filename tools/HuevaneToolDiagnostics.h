// Where every problem huevane-tool finds goes: one line each on stderr, in the form compilers
// use ("FILE:LINE: error: MESSAGE"), so editors and CI logs can jump to it. The count of errors
// decides the exit status; --strict counts warnings as errors.
#ifndef HUEVANE_TOOLS_HUEVANETOOLDIAGNOSTICS_H
#define HUEVANE_TOOLS_HUEVANETOOLDIAGNOSTICS_H

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

enum class HuevaneSeverity { ERROR, WARNING, NOTE };

const char* getSeverityName(HuevaneSeverity severity);

struct HuevaneFinding {
    HuevaneSeverity severity = HuevaneSeverity::ERROR;
    std::string rule;  // lint's rule id; empty for the other commands' problems
    std::string file;  // empty: the problem concerns the command line or the tool itself
    long line = 0;     // 0: the file as a whole
    std::string message;
};

class HuevaneDiagnostics {
  public:
    HuevaneDiagnostics(std::ostream& err, bool strict) : mErr(err), mStrict(strict) {}

    // Prints the finding (unless collecting only) and counts it. Under --strict a warning is
    // printed and counted as an error.
    void report(HuevaneFinding finding);
    void error(const std::string& file, long line, const std::string& message);
    void warning(const std::string& file, long line, const std::string& message);
    void note(const std::string& file, long line, const std::string& message);
    // Problems that belong to no file: "huevane-tool: error: MESSAGE".
    void error(const std::string& message) { error("", 0, message); }
    void warning(const std::string& message) { warning("", 0, message); }

    // Keeps findings for a machine-readable report instead of printing them.
    void setCollecting(bool collecting) { mCollecting = collecting; }
    const std::vector<HuevaneFinding>& getFindings() const { return mFindings; }

    bool isStrict() const { return mStrict; }
    size_t getErrorCount() const { return mErrors; }
    size_t getWarningCount() const { return mWarnings; }
    size_t getNoteCount() const { return mNotes; }
    // 1 once an error was reported, else 0.
    int getExitStatus() const;

    static std::string format(const HuevaneFinding& finding);

  private:
    std::ostream& mErr;
    bool mStrict;
    bool mCollecting = false;
    std::vector<HuevaneFinding> mFindings;
    size_t mErrors = 0;
    size_t mWarnings = 0;
    size_t mNotes = 0;
};

#endif  // HUEVANE_TOOLS_HUEVANETOOLDIAGNOSTICS_H
