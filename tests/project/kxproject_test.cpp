// Tests of saving projects: the information block, the modified flag, and saving that loses
// nothing when a write fails (the system's write and fsync are replaced in this program by
// versions that can be told to fail after a given number of bytes).
#include "kx/project/kxproject.h"

#include "kx/project/kxprojman.h"
#include "kx/project/sfhandler.h"
#include "kxtestnodes.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <dirent.h>
#include <dlfcn.h>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

long g_writeBudget = -1; // bytes that may still be written to files; -1: no limit
int g_writeErrno = ENOSPC;
bool g_failFsync = false;

} // namespace

// The system's write, with an injectable failure for descriptors other than the standard ones.
extern "C" ssize_t write(int fd, const void *data, size_t n)
{
    using WriteFn = ssize_t (*)(int, const void *, size_t);
    static const auto real = reinterpret_cast<WriteFn>(dlsym(RTLD_NEXT, "write"));
    if (g_writeBudget < 0 || fd <= 2)
        return real(fd, data, n);
    if (g_writeBudget == 0) {
        errno = g_writeErrno;
        return -1;
    }
    const size_t allowed = std::min(n, static_cast<size_t>(g_writeBudget));
    const ssize_t written = real(fd, data, allowed);
    if (written > 0)
        g_writeBudget -= written;
    return written;
}

extern "C" int fsync(int fd)
{
    using FsyncFn = int (*)(int);
    static const auto real = reinterpret_cast<FsyncFn>(dlsym(RTLD_NEXT, "fsync"));
    if (g_failFsync) {
        errno = EIO;
        return -1;
    }
    return real(fd);
}

namespace {

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

int CountFiles(const std::string &dir)
{
    int n = 0;
    if (DIR *d = opendir(dir.c_str())) {
        while (dirent *e = readdir(d))
            n += std::string(e->d_name) != "." && std::string(e->d_name) != "..";
        closedir(d);
    }
    return n;
}

class ProjectFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        kxtest::RegisterTestNodes();
        error.reset();
        char pattern[] = "/tmp/kxprojectXXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
        manager = new kxProjectManager;
        project = static_cast<kxProject *>(manager->AddSubnode("kxProject", "P"));
        ASSERT_NE(project, nullptr);
    }
    void TearDown() override
    {
        g_writeBudget = -1;
        g_failFsync = false;
        delete manager;
        SFHandler::setCacheDir("");
        error.reset();
        std::system(("rm -rf " + dir).c_str());
    }
    std::string Path(const char *name) const { return dir + "/" + name; }

    /// Gives the project `n` variable lines in one test node.
    void Fill(int n, const char *prefix)
    {
        auto *node = static_cast<kxTestNode *>(project->FindNode("vars"));
        if (!node)
            node = static_cast<kxTestNode *>(project->AddSubnode("testNodeTB", "vars"));
        node->lines.clear();
        for (int i = 0; i < n; ++i)
            node->lines.push_back(std::string(prefix) + std::to_string(i) + " = " +
                                  std::to_string(i));
    }

    std::string dir;
    kxProjectManager *manager = nullptr;
    kxProject *project = nullptr;
};

} // namespace

using KXProjectTest = ProjectFixture;

TEST_F(KXProjectTest, InformationBlockAndModifiedFlag)
{
    kxSetApplicationInfo("MyApp", "2.5");
    project->AddSubnode("testNodeTB", "n");
    EXPECT_TRUE(project->IsModified());
    kxOutputCapture capture;
    ASSERT_TRUE(project->SaveToFile(Path("p.txt").c_str()));
    EXPECT_EQ(capture.Messages(), "p.txt saved\n");
    EXPECT_FALSE(project->IsModified());
    EXPECT_EQ(std::string(project->getFilename()), Path("p.txt"));
    const std::string text = ReadFile(Path("p.txt"));
    const std::regex layout(
        "begin <kxApplicationInfo\\(1\\.1\\)>\n"
        "  MyApp 2\\.5 // applicationname applicationversion\n"
        "  [0-9]+\\.[0-9]+ \\(64 bit\\) [0-9]+\\.[0-9]{2} // windowsversion RAM_in_MB \n"
        "  [0-3][0-9]/[01][0-9]/[0-9]{4} [0-9]{1,2}:[0-5][0-9]:[0-5][0-9] "
        "// savedate\\(dd/mm/yyyy\\) savetime\\(hh:mm:ss\\)\n"
        "end\n"
        "begin <kxProject\\(1\\.0\\)> \"P\"\n"
        "  begin <testNodeTB\\(1\\.0\\)> \"n\"\n"
        "  end\n"
        "end\n");
    EXPECT_TRUE(std::regex_match(text, layout)) << text;
    kxSetApplicationInfo("kxCore", "33.0");
    // With an error pending nothing is written.
    error.set("pending");
    EXPECT_FALSE(project->SaveToFile(Path("q.txt").c_str()));
    EXPECT_NE(access(Path("q.txt").c_str(), F_OK), 0);
}

TEST_F(KXProjectTest, InterruptedSavesLeaveTheOldFileWhole)
{
    Fill(40, "old");
    ASSERT_TRUE(project->SaveToFile(Path("p.txt").c_str()));
    const std::string old = ReadFile(Path("p.txt"));
    Fill(60, "new");
    // The size of the new text, found by one save elsewhere.
    ASSERT_TRUE(project->SaveToFile(Path("probe.txt").c_str()));
    const long size = static_cast<long>(ReadFile(Path("probe.txt")).size());
    ASSERT_EQ(unlink(Path("probe.txt").c_str()), 0);
    ASSERT_GT(size, static_cast<long>(old.size()));
    const int filesBefore = CountFiles(dir);
    for (long budget = 0; budget < size; ++budget) {
        g_writeErrno = budget % 2 ? EIO : ENOSPC;
        g_writeBudget = budget;
        EXPECT_FALSE(project->SaveToFile(Path("p.txt").c_str())) << budget;
        g_writeBudget = -1;
        EXPECT_NE(std::string(error.chars()).find("Failed to open file"), std::string::npos);
        error.reset();
        ASSERT_EQ(ReadFile(Path("p.txt")), old) << "interrupted after " << budget << " bytes";
        ASSERT_EQ(CountFiles(dir), filesBefore) << "a temporary file was left behind";
    }
    // A failing flush loses nothing either.
    g_failFsync = true;
    EXPECT_FALSE(project->SaveToFile(Path("p.txt").c_str()));
    g_failFsync = false;
    error.reset();
    EXPECT_EQ(ReadFile(Path("p.txt")), old);
    // With room enough the new file replaces the old one whole.
    g_writeBudget = size;
    ASSERT_TRUE(project->SaveToFile(Path("p.txt").c_str()));
    g_writeBudget = -1;
    const std::string now = ReadFile(Path("p.txt"));
    EXPECT_EQ(static_cast<long>(now.size()), size);
    EXPECT_NE(now.find("new59 = 59"), std::string::npos);
    EXPECT_EQ(now.find("old0"), std::string::npos);
}

TEST_F(KXProjectTest, NestedTreesSaveWholeOrNotAtAll)
{
    auto add = [](kxProjectNode *parent, const char *name) {
        auto *node = static_cast<kxTestNode *>(parent->AddSubnode("testNodeTB", name));
        node->lines = {std::string(name) + "0 = 0", "// " + std::string(name)};
        return node;
    };
    kxTestNode *a = add(project, "a");
    kxTestNode *b = add(a, "b");
    b->dataBlocks = {"begin <testDataTB(2.1)> \"d\"\n  raw 1\n\n  begin <x(1.0)>\n  end\nend\n"};
    kxTestNode *c = add(b, "c");
    add(c, "d")->lines.clear();
    add(project, "e");
    ASSERT_TRUE(project->SaveToFile(Path("p.txt").c_str()));
    const std::string old = ReadFile(Path("p.txt"));
    const std::string body = "begin <kxProject(1.0)> \"P\"\n"
                             "  begin <testNodeTB(1.0)> \"a\"\n"
                             "    a0 = 0\n"
                             "    // a\n"
                             "    begin <testNodeTB(1.0)> \"b\"\n"
                             "      b0 = 0\n"
                             "      // b\n"
                             "      begin <testDataTB(2.1)> \"d\"\n"
                             "        raw 1\n"
                             "      \n"
                             "        begin <x(1.0)>\n"
                             "        end\n"
                             "      end\n"
                             "      begin <testNodeTB(1.0)> \"c\"\n"
                             "        c0 = 0\n"
                             "        // c\n"
                             "        begin <testNodeTB(1.0)> \"d\"\n"
                             "        end\n"
                             "      end\n"
                             "    end\n"
                             "  end\n"
                             "  begin <testNodeTB(1.0)> \"e\"\n"
                             "    e0 = 0\n"
                             "    // e\n"
                             "  end\n"
                             "end\n";
    ASSERT_GT(old.size(), body.size());
    EXPECT_EQ(old.substr(old.size() - body.size()), body);
    EXPECT_EQ(old.find("end\nbegin <kxProject"), old.size() - body.size() - 4);

    // A child that fails to write, deep down, leaves the text written so far as it was and
    // the old file whole.
    c->dataBlocks = {"not a block"};
    TextBlock block;
    block.StartWrite(TBlockSig{"outer", 1, 0}, "o");
    block.WriteLine("kept");
    const std::string before = block.getText();
    EXPECT_FALSE(project->WriteChildNodes(block));
    EXPECT_EQ(std::string(block.getText()), before);
    const int filesBefore = CountFiles(dir);
    EXPECT_FALSE(project->SaveToFile(Path("p.txt").c_str()));
    EXPECT_EQ(ReadFile(Path("p.txt")), old);
    EXPECT_EQ(CountFiles(dir), filesBefore);
    c->dataBlocks.clear();

    // A save of the nested tree cut short anywhere leaves the old file; a whole one replaces it.
    c->lines.push_back("c1 = 1");
    for (long budget = 0; budget < long(old.size()); budget += 37) {
        g_writeBudget = budget;
        EXPECT_FALSE(project->SaveToFile(Path("p.txt").c_str())) << budget;
        g_writeBudget = -1;
        error.reset();
        ASSERT_EQ(ReadFile(Path("p.txt")), old) << "interrupted after " << budget << " bytes";
        ASSERT_EQ(CountFiles(dir), filesBefore) << "a temporary file was left behind";
    }
    ASSERT_TRUE(project->SaveToFile(Path("p.txt").c_str()));
    EXPECT_NE(ReadFile(Path("p.txt")).find("        c0 = 0\n        // c\n        c1 = 1\n"),
              std::string::npos);
}

TEST_F(KXProjectTest, StateFileNeverTouchesTheProjectFile)
{
    SFHandler::setCacheDir(dir.c_str());
    auto *leaf = static_cast<kxTestLeaf *>(project->AddSubnode("testLeafTB", "leaf"));
    leaf->state = std::string(5000, 's');
    // A project file inside the cache directory, with the state file's own suffix.
    ASSERT_TRUE(project->SaveToFile(Path("p.sta").c_str()));
    const std::string saved = ReadFile(Path("p.sta"));
    EXPECT_EQ(std::string(getCacheFileName(Path("p.sta").c_str())), Path("p_sta.sta"));
    EXPECT_EQ(ReadFile(Path("p_sta.sta")).size(), sizeof(unsigned) + 5000);
    EXPECT_EQ(saved.find("ssss"), std::string::npos);
    // A state file that cannot be made leaves the new project file whole and the save good.
    ASSERT_EQ(unlink(Path("p_sta.sta").c_str()), 0);
    ASSERT_EQ(mkdir(Path("p_sta.sta").c_str(), 0700), 0); // a directory in its place
    kxOutputCapture capture;
    leaf->lines = {"changed"};
    EXPECT_TRUE(project->SaveToFile(Path("p.sta").c_str()));
    EXPECT_EQ(error, 0);
    EXPECT_NE(capture.Warnings().find("failed to save statefile\n"), std::string::npos);
    EXPECT_NE(ReadFile(Path("p.sta")).find("changed"), std::string::npos);
    // Reading ignores a state file it cannot use.
    ASSERT_TRUE(manager->ProjectClose(project));
    EXPECT_TRUE(manager->ProjectOpen(Path("p.sta").c_str()));
}
