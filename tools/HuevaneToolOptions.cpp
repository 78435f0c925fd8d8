#include "HuevaneToolOptions.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

bool parseUnsigned(const std::string& text, uint32_t* value) {
    if (text.empty() || text[0] == '-' || text[0] == '+' || text[0] == ' ') return false;
    errno = 0;
    char* end = nullptr;
    unsigned long long number = strtoull(text.c_str(), &end, 0);
    if (errno != 0 || *end != '\0' || number > UINT32_MAX) return false;
    *value = static_cast<uint32_t>(number);
    return true;
}

bool parseFloat(const std::string& text, float* value) {
    if (text.empty()) return false;
    errno = 0;
    char* end = nullptr;
    float number = strtof(text.c_str(), &end);
    if (errno != 0 || *end != '\0') return false;
    *value = number;
    return true;
}

std::vector<std::string> splitList(const std::string& text) {
    std::vector<std::string> pieces;
    std::string piece;
    for (char c : text) {
        if (c == ',' || c == ' ' || c == '\t' || c == '\n') {
            if (!piece.empty()) pieces.push_back(piece);
            piece.clear();
        } else {
            piece += c;
        }
    }
    if (!piece.empty()) pieces.push_back(piece);
    return pieces;
}

void HuevaneToolArgs::fail(const std::string& message) {
    fprintf(stderr, "huevane-tool: %s\n", message.c_str());
    mFailed = true;
}

bool HuevaneToolArgs::value(const std::string& option, std::string* text) {
    if (mIndex >= mArgc) {
        fail(option + " needs a value");
        return false;
    }
    *text = mArgv[mIndex++];
    return true;
}

bool HuevaneToolArgs::peek(std::string* arg) const {
    if (mIndex >= mArgc) return false;
    *arg = mArgv[mIndex];
    return true;
}

bool HuevaneToolArgs::next(std::string* arg) {
    while (!mFailed && mIndex < mArgc) {
        std::string current = mArgv[mIndex++];
        std::string text;
        if (current == "--help" || current == "-h") {
            mGlobals->help = true;
        } else if (current == "--root") {
            if (value(current, &text)) mGlobals->root = text;
        } else if (current == "--display") {
            if (value(current, &text) && !parseUnsigned(text, &mGlobals->display)) {
                fail("--display needs a display id (an unsigned number), not '" + text + "'");
            }
        } else {
            *arg = current;
            return true;
        }
    }
    return false;
}
