#include "HuevaneToolFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
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

bool writeToolFile(const std::string& path, const std::string& bytes, std::string* error) {
    // Beside the file, so that the rename never crosses file systems.
    std::string temporary = path + ".XXXXXX";
    int fd = mkstemp(&temporary[0]);
    if (fd < 0) {
        *error = strerror(errno);
        return false;
    }
    size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = write(fd, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) break;
        written += static_cast<size_t>(count);
    }
    const bool complete = written == bytes.size();
    if (!complete) *error = strerror(errno);
    // mkstemp makes the file readable by its owner alone; the output is an ordinary file.
    fchmod(fd, 0644);
    if (close(fd) != 0 && complete) *error = strerror(errno);
    if (!complete || rename(temporary.c_str(), path.c_str()) != 0) {
        if (complete) *error = strerror(errno);
        unlink(temporary.c_str());
        return false;
    }
    return true;
}
