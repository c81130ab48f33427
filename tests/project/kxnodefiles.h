// kxnodefiles.h - a scratch directory with a project manager for the tests of the standard node
// types, and helpers to write, open and save project texts.
#ifndef KX_TESTS_PROJECT_KXNODEFILES_H
#define KX_TESTS_PROJECT_KXNODEFILES_H

#include "kx/project/kxprojman.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <unistd.h>

namespace kxtest {

inline std::string ReadText(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

inline void WriteText(const std::string &path, const std::string &text)
{
    std::ofstream out(path, std::ios::binary);
    out << text;
}

/// The project text without the information block.
inline std::string WithoutInfoBlock(const std::string &text)
{
    const size_t at = text.find("begin <kxProject(");
    return at == std::string::npos ? text : text.substr(at);
}

class NodeFilesFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        error.reset();
        ResetSyntaxErrFlag();
        char pattern[] = "/tmp/kxnodesXXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
        manager = new kxProjectManager;
    }
    void TearDown() override
    {
        delete manager;
        error.reset();
        std::system(("rm -rf " + dir).c_str());
    }
    std::string Path(const char *name) const { return dir + "/" + name; }

    /// Writes `body` as the project "P" into `name` and opens it.
    kxProject *Open(const char *name, const std::string &body)
    {
        WriteText(Path(name), "begin <kxProject(1.0)> \"P\"\n" + body + "end\n");
        if (!manager->ProjectOpen(Path(name).c_str()))
            return nullptr;
        return static_cast<kxProject *>(manager->FindNode("P"));
    }

    /// Saves the project and returns the saved text without its information block.
    std::string Saved(kxProject *project, const char *name)
    {
        EXPECT_TRUE(project->SaveToFile(Path(name).c_str())) << error.chars();
        return WithoutInfoBlock(ReadText(Path(name)));
    }

    std::string dir;
    kxProjectManager *manager = nullptr;
};

} // namespace kxtest

#endif
