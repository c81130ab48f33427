// Tests of FBuff: reading lines, comment readers, appending, loading and saving files.
#include "kx/foundation/kxfbuff.h"

#include "kxblocktest_util.h"

#include <gmock/gmock.h>

#include <csignal>
#include <cstdio>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using ::testing::StartsWith;

using FBuffTest = BlockFixture;

// --------------------------------------------------------------------------------------------
// FBuff

TEST_F(FBuffTest, FBuffReadsLinesInBothModes)
{
    FBuff buf;
    EXPECT_EQ(buf.gets(), nullptr);
    buf.Append("a 1 // one\n\n  // whole\n\t b 2\r\n  \r\nlast");
    buf.setPosn(0);
    EXPECT_EQ(Str(buf.gets()), "a 1 // one\n");
    EXPECT_EQ(Str(buf.gets()), "\n"); // comments are kept while the mode is off
    buf.SkipComments(true);
    EXPECT_EQ(Str(buf.gets()), "  // whole\n");
    EXPECT_EQ(Str(buf.gets()), "\t b 2\r\n"); // then the blank "\r" line is skipped
    EXPECT_EQ(Str(buf.gets()), "last");
    EXPECT_EQ(buf.gets(), nullptr);
    EXPECT_STREQ(buf.getLastLine(), "last");

    buf.setPosn(0);
    buf.SkipComments(false);
    buf.SkipWhitespace(true);
    buf.gets();
    const uint32_t blank = buf.getPosn();
    EXPECT_EQ(Str(buf.getcl()), "\n  // whole\n");
    EXPECT_EQ(Str(buf.gets()), "b 2\r\n");
    buf.setPosn(blank);
    EXPECT_EQ(Str(buf.getcl()), "\n  // whole\n");
    EXPECT_EQ(Str(buf.getcl()), "");

    int a = 0, b = 0;
    FBuff nums;
    nums.Append("  7 8\n9\n");
    nums.setPosn(0);
    EXPECT_EQ(nums.scanline("%d %d", &a, &b), 2);
    EXPECT_EQ(a * 10 + b, 78);
    EXPECT_EQ(nums.scanline("%d %d", &a, &b), 1);
    EXPECT_EQ(nums.scanline("%d", &a), -1);
    nums.setPosn(0);
    nums.DoSkipWhitespace();
    EXPECT_EQ(nums.getPosn(), 2u);
}

TEST_F(FBuffTest, FBuffCommentReaders)
{
    FBuff buf;
    buf.Append("x 1 // a // b\n   // c\n// d\ny 2\n  //e");
    buf.setPosn(0);
    EXPECT_EQ(Str(buf.getclB(false)), ""); // not a whole comment line: position kept
    EXPECT_EQ(buf.getPosn(), 0u);
    EXPECT_EQ(Str(buf.getclB(true)), "// b\n"); // from the last "//"
    EXPECT_EQ(Str(buf.getclB(false)), "// c\n");
    EXPECT_EQ(Str(buf.getclB(false)), "// d\n");
    EXPECT_EQ(Str(buf.getclB(true)), "\n");     // y 2 has no comment
    EXPECT_EQ(Str(buf.getclB(false)), "//e\n"); // the last line gets its newline
    EXPECT_EQ(Str(buf.getclB(true)), "\n");     // no line left

    buf.setPosn(0);
    EXPECT_EQ(Str(buf.getnlc(-1)), "// a // b\n// c\n// d\n");
    EXPECT_EQ(Str(buf.gets()), "y 2\n");
    buf.setPosn(0);
    EXPECT_EQ(Str(buf.getnlc(1)), "// a // b\n// c\n");
    EXPECT_EQ(Str(buf.getnlc(0)), "// d\n");
}

TEST_F(FBuffTest, FBuffAppendsIndentAndGrowsLinearly)
{
    FBuff child;
    child.Append("begin <C(1.0)>\n");
    child.setBlockIndent(2);
    child.Append("v 1\n");
    child.setBlockIndent(0);
    child.Append("end"); // no final newline: Append(FBuff) adds one

    FBuff parent;
    parent.setBlockIndent(4);
    parent.Append(child);
    parent.Append(parent); // appending itself copies first
    const std::string once = "    begin <C(1.0)>\n      v 1\n    end\n";
    const std::string twice = once + "        begin <C(1.0)>\n          v 1\n        end\n";
    EXPECT_EQ(std::string(parent.getText()), twice);
    EXPECT_EQ(parent.getPosn(), parent.getLen());

    FBuff big; // many appends across the 4,096-byte steps keep every byte
    std::string expect;
    for (int i = 0; i < 20000; ++i) {
        const std::string piece = "line " + std::to_string(i);
        big.WriteLine(piece.c_str());
        expect += piece + "\n";
    }
    EXPECT_EQ(std::string(big.getText()), expect);

    // A long text appended with an indent, through many growth steps, blank lines included,
    // then indented lines written after it.
    FBuff gappy;
    gappy.Append(expect.c_str());
    gappy.Append("\n\nlast");
    FBuff nested;
    nested.Append("head\n");
    nested.setBlockIndent(3);
    nested.Append(gappy);
    nested.WriteLine("tail");
    std::string indented = "head\n";
    for (size_t p = 0; p < expect.size();) {
        const size_t e = expect.find('\n', p) + 1;
        indented += "   " + expect.substr(p, e - p);
        p = e;
    }
    indented += "   \n   \n   last\n   tail\n"; // two blank lines: expect ends with one
    EXPECT_EQ(std::string(nested.getText()), indented);
    EXPECT_EQ(nested.getPosn(), nested.getLen());
}

TEST_F(FBuffTest, FBuffLoadFile)
{
    FBuff buf;
    EXPECT_FALSE(buf.LoadFile("/nonexistent/dir/f.txt"));
    EXPECT_STREQ(error.chars(), "Failed to open file \"/nonexistent/dir/f.txt\"\n");
    error.reset();

    const std::string dir = TempDir();
    for (size_t size : {size_t(0), size_t(4095), size_t(4096), size_t(4097), size_t(100000)}) {
        std::string text(size, 'x');
        for (size_t i = 50; i < size; i += 51)
            text[i] = '\n';
        WriteAll(dir + "/f.txt", text);
        ASSERT_TRUE(buf.LoadFile((dir + "/f.txt").c_str()));
        EXPECT_EQ(std::string(buf.getText()), text) << size;
        EXPECT_EQ(buf.getPosn(), 0u);
    }
    WriteAll(dir + "/nul.txt", std::string("ab\0cd", 5));
    ASSERT_TRUE(buf.LoadFile((dir + "/nul.txt").c_str()));
    EXPECT_EQ(buf.getLen(), 2u);
    std::filesystem::remove_all(dir);
}

// --------------------------------------------------------------------------------------------
// Saving

TEST_F(FBuffTest, SaveFileReplacesWholeOrNotAtAll)
{
    const std::string dir = TempDir();
    const std::string path = dir + "/p.txt";
    FBuff buf;
    buf.Append("begin <P(1.0)>\nend\n");
    ASSERT_TRUE(buf.SaveFile(path.c_str()));
    EXPECT_EQ(ReadAll(path), "begin <P(1.0)>\nend\n");
    chmod(path.c_str(), 0640);
    buf.Append("more\n");
    ASSERT_TRUE(buf.SaveFile(path.c_str()));
    EXPECT_EQ(ReadAll(path), "begin <P(1.0)>\nend\nmore\n");
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u); // permissions survive the replacement
    EXPECT_EQ(FilesIn(dir), 1);          // no temporary file left behind

    // A write that fails half way (file size limit: the same path as a full disk).
    std::string huge(1 << 20, 'z');
    FBuff big;
    big.Append(huge.c_str());
    struct rlimit old;
    getrlimit(RLIMIT_FSIZE, &old);
    struct rlimit small = old;
    small.rlim_cur = 64 * 1024;
    auto oldHandler = std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    const bool saved = big.SaveFile(path.c_str());
    setrlimit(RLIMIT_FSIZE, &old);
    std::signal(SIGXFSZ, oldHandler);
    EXPECT_FALSE(saved);
    EXPECT_THAT(error.chars(), StartsWith("Failed to open file \"" + path + "\"\n"));
    EXPECT_EQ(ReadAll(path), "begin <P(1.0)>\nend\nmore\n");
    EXPECT_EQ(FilesIn(dir), 1);
    error.reset();

    // The target is a directory.
    EXPECT_FALSE(buf.SaveFile(dir.c_str()));
    EXPECT_STREQ(error.chars(), ("Failed to open file \"" + dir + "\"\n").c_str());
    EXPECT_EQ(int(error), 1);
    error.reset();

    // A file that exists and can be read, but nothing can be written beside it.
    EXPECT_FALSE(buf.SaveFile("/proc/version"));
    EXPECT_STREQ(error.chars(), "Failed to open file \"/proc/version\"\nFile was read only?\n");
    EXPECT_EQ(int(error), 500);
    error.reset();

    // A read-only directory (root writes anyway, so only checked as a user).
    if (geteuid() != 0) {
        chmod(dir.c_str(), 0555);
        EXPECT_FALSE(buf.SaveFile(path.c_str()));
        EXPECT_EQ(int(error), 500);
        EXPECT_EQ(ReadAll(path), "begin <P(1.0)>\nend\nmore\n");
        chmod(dir.c_str(), 0755);
        error.reset();
    }
    std::filesystem::remove_all(dir);
}
