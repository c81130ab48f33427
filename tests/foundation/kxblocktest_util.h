// kxblocktest_util.h - what the tests of FBuff and TextBlock share: a fixture that installs a
// capturing message printer and clears the error record and the syntax-error counter, and
// small file helpers.
#ifndef KX_TESTS_KXBLOCKTEST_UTIL_H
#define KX_TESTS_KXBLOCKTEST_UTIL_H

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"
#include "kx/foundation/kxtextblock.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

/// Every line printed on the message channel since the fixture's SetUp.
inline std::string gPrinted;
inline void CapturePrint(int, const char *line) { gPrinted += line; }

class BlockFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        InitialiseKXUtils("blocks", KXString("test"), 1, nullptr, nullptr, nullptr, CapturePrint,
                          nullptr);
        error.reset();
        ResetSyntaxErrFlag();
        gPrinted.clear();
    }
    void TearDown() override { error.reset(); }
};

inline std::string ReadAll(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

inline void WriteAll(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

inline std::string TempDir()
{
    char tmpl[] = "/tmp/kxblocksXXXXXX";
    const char *dir = mkdtemp(tmpl);
    return dir ? dir : "/tmp";
}

inline int FilesIn(const std::string &dir)
{
    return int(std::distance(std::filesystem::directory_iterator(dir), {}));
}

inline std::string Str(const char *p) { return p ? p : "(null)"; }

#endif
