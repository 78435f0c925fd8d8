#include "HuevaneToolFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace {

const char* getKindName(mode_t mode) {
    if (S_ISDIR(mode)) return "a directory";
    if (S_ISFIFO(mode)) return "a FIFO";
    if (S_ISCHR(mode) || S_ISBLK(mode)) return "a device";
    if (S_ISSOCK(mode)) return "a socket";
    return "not a regular file";
}

// Reads up to limit + 1 bytes: one more than allowed tells that there is more.
bool readBounded(int fd, size_t limit, HuevaneToolFileRead* result) {
    std::string& bytes = result->bytes;
    bytes.resize(limit + 1);
    size_t filled = 0;
    while (filled < bytes.size()) {
        ssize_t count = read(fd, &bytes[filled], bytes.size() - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            result->error = strerror(errno);
            return false;
        }
        if (count == 0) break;
        filled += static_cast<size_t>(count);
    }
    result->truncated = filled > limit;
    bytes.resize(result->truncated ? limit : filled);
    return true;
}

}  // namespace

HuevaneToolFileRead readToolFile(const std::string& path, size_t limit) {
    HuevaneToolFileRead result;
    if (path == "-") {
        result.ok = readBounded(STDIN_FILENO, limit, &result);
        return result;
    }
    // O_NONBLOCK: opening a FIFO must not wait for a writer before fstat can refuse it.
    int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) {
        result.error = strerror(errno);
        return result;
    }
    struct stat info;
    if (fstat(fd, &info) != 0) {
        result.error = strerror(errno);
    } else if (!S_ISREG(info.st_mode)) {
        result.error = std::string("refused: ") + getKindName(info.st_mode);
    } else {
        result.ok = readBounded(fd, limit, &result);
    }
    close(fd);
    return result;
}

std::string getToolFileRefusal(const std::string& path) {
    struct stat info;
    if (stat(path.c_str(), &info) != 0) return strerror(errno);
    if (!S_ISREG(info.st_mode)) return std::string("refused: ") + getKindName(info.st_mode);
    if (access(path.c_str(), R_OK) != 0) return strerror(errno);
    return "";
}
