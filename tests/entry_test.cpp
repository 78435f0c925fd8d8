// The shared library as a compositor sees it: loaded with dlopen, reached through its exported
// names only. It carries its own copy of the internals, so no device tree applies to it: the
// display used here has no calibration file.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <limits.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "HuevaneTestSupport.h"
#include "IHuevane.h"

// The build passes the library's path; a relative one is taken from this test's own folder,
// where a device's test runner puts the library beside the test.
#ifndef HUEVANE_DEFAULT_SO
#define HUEVANE_DEFAULT_SO "libhuevane_default.so"
#endif

namespace {

std::string libraryPath() {
    std::string path = HUEVANE_DEFAULT_SO;
    if (path.front() == '/') return path;
    char self[PATH_MAX];
    ssize_t length = readlink("/proc/self/exe", self, sizeof(self) - 1);
    if (length <= 0) return path;
    std::string folder(self, static_cast<size_t>(length));
    return folder.substr(0, folder.rfind('/') + 1) + path;
}

constexpr uint32_t NO_FILE_DISPLAY = 4242;

using CreateFn = IHuevane* (*)(uint32_t);
using DestroyFn = void (*)(IHuevane*);

class EntryTest : public ::testing::Test {
  protected:
    void SetUp() override {
        mHandle = dlopen(libraryPath().c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(nullptr, mHandle) << dlerror();
    }
    void TearDown() override {
        if (mHandle != nullptr) dlclose(mHandle);
    }
    template <typename T>
    T symbol(const char* name) {
        return reinterpret_cast<T>(dlsym(mHandle, name));
    }

    void* mHandle = nullptr;
};

TEST_F(EntryTest, CompositorCycle) {
    CreateFn create = symbol<CreateFn>("createInstance");
    CreateFn createEngine = symbol<CreateFn>("_ZN8IHuevane14createInstanceEj");
    DestroyFn destroy = symbol<DestroyFn>("destroyInstance");
    ASSERT_TRUE(create && createEngine && destroy);

    EXPECT_EQ(nullptr, create(NO_FILE_DISPLAY));
    destroy(nullptr);

    IHuevane* engine = createEngine(NO_FILE_DISPLAY);
    ASSERT_NE(nullptr, engine);
    EXPECT_TRUE(engine->getColorModes().empty());
    EXPECT_EQ(0, engine->setColorMode(0));
    const float identity[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
    EXPECT_EQ(0, engine->setColorTransform(identity, 0));
    std::vector<HuevaneExtension> extensions = {{0, "1 0", 3}, {4, "1,2", 0}};
    EXPECT_EQ(0, engine->setColorExtension(extensions));
    EXPECT_EQ(4096, engine->getColorCoefSize());
    std::vector<uint8_t> buffer(engine->getPvxLutSize());
    EXPECT_EQ(0, engine->getPvxLut(buffer.data()));

    const std::string matrix = "1,65536,0,0,0,0,65536,0,0,0,0,65536,0,0,0,0,65536";
    std::vector<uint8_t> expected = hexBytes(
            "DA 00 5A 00 0C 00 02 00 DA 00 00 00 DA 04 10 00 0C 00 01 00 FF FF 0A FF 31 2C 32 00 "
            "DA 06 3E 00 0C 00 FF FF FF FF 41 FF");
    expected.insert(expected.end(), matrix.begin(), matrix.end());
    expected.push_back(0);
    buffer.resize(expected.size());
    EXPECT_EQ(expected, buffer);
    destroy(engine);
}

// binutils' nm reads the dynamic symbol table; it ships with the toolchain that built the library.
TEST_F(EntryTest, ExportsOnlyTheEntryPoints) {
#ifdef __ANDROID__
    // A device image has no binutils; the host build, where the library is linked, always does.
    if (system("command -v nm > /dev/null") != 0) GTEST_SKIP() << "nm is not available";
#endif
    std::string command = "nm -D --defined-only --format=posix '" + libraryPath() + "'";
    FILE* nm = popen(command.c_str(), "r");
    ASSERT_NE(nullptr, nm);
    std::set<std::string> names;
    char line[512];
    while (fgets(line, sizeof(line), nm) != nullptr) {
        std::string name = line;
        name = name.substr(0, name.find_first_of(" @"));
        // The version script's own name is a definition too, not an export.
        if (name != "LIBHUEVANE_DEFAULT") names.insert(name);
    }
    ASSERT_EQ(0, pclose(nm));
    EXPECT_EQ((std::set<std::string>{"createInstance", "destroyInstance",
                                     "_ZN8IHuevane14createInstanceEj"}),
              names);
}

}  // namespace
