// Reading a file named on the command line: regular files (or standard input) only, so a FIFO
// or a device never blocks the tool or fills its memory, and at most `limit` bytes.
#ifndef HUEVANE_TOOLS_HUEVANETOOLFILE_H
#define HUEVANE_TOOLS_HUEVANETOOLFILE_H

#include <cstddef>
#include <string>

struct HuevaneToolFileRead {
    bool ok = false;
    std::string bytes;
    bool truncated = false;  // the file holds more than `limit` bytes
    std::string error;       // why it could not be read, when !ok
};

// "-" reads standard input (whatever it is: the user chose it).
HuevaneToolFileRead readToolFile(const std::string& path, size_t limit);

// Writes `bytes` to a new file beside `path` and renames it to `path`, so that `path` holds
// either what it held or all of `bytes`. False with the reason when it cannot.
bool writeToolFile(const std::string& path, const std::string& bytes, std::string* error);

// Why `path` is not a regular file that can be read ("refused: a FIFO", errno's text); empty
// when it is one. For files handed to a parser that would otherwise block on them.
std::string getToolFileRefusal(const std::string& path);

#endif  // HUEVANE_TOOLS_HUEVANETOOLFILE_H
