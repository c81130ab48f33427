// Tests of the block text format: FBuff, TextBlock, checksig and the syntax-error counter.
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"
#include "kx/foundation/kxtextblock.h"

#include "kxfatal_test_util.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

using ::testing::StartsWith;

namespace {

std::string gPrinted;
void CapturePrint(int, const char *line) { gPrinted += line; }

class BlockTest : public ::testing::Test {
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

std::string ReadAll(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

void WriteAll(const std::string &path, const std::string &text)
{
    std::ofstream(path, std::ios::binary) << text;
}

std::string TempDir()
{
    char tmpl[] = "/tmp/kxblocksXXXXXX";
    const char *dir = mkdtemp(tmpl);
    return dir ? dir : "/tmp";
}

int FilesIn(const std::string &dir)
{
    return int(std::distance(std::filesystem::directory_iterator(dir), {}));
}

std::string Str(const char *p) { return p ? p : "(null)"; }

const TBlockSig kAb{"Ab", 1, 2};

} // namespace

// --------------------------------------------------------------------------------------------
// FBuff

TEST_F(BlockTest, FBuffReadsLinesInBothModes)
{
    FBuff buf;
    EXPECT_EQ(buf.gets(), nullptr);
    buf.Append("a 1 // one\n\n  // whole\n\t b 2\r\n  \r\nlast");
    buf.setPosn(0);
    EXPECT_EQ(Str(buf.gets()), "a 1 // one\n");
    EXPECT_EQ(Str(buf.gets()), "\n");   // comments are kept while the mode is off
    buf.SkipComments(true);
    EXPECT_EQ(Str(buf.gets()), "  // whole\n");
    EXPECT_EQ(Str(buf.gets()), "\t b 2\r\n");   // then the blank "\r" line is skipped
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

TEST_F(BlockTest, FBuffCommentReaders)
{
    FBuff buf;
    buf.Append("x 1 // a // b\n   // c\n// d\ny 2\n  //e");
    buf.setPosn(0);
    EXPECT_EQ(Str(buf.getclB(false)), "");   // not a whole comment line: position kept
    EXPECT_EQ(buf.getPosn(), 0u);
    EXPECT_EQ(Str(buf.getclB(true)), "// b\n");   // from the last "//"
    EXPECT_EQ(Str(buf.getclB(false)), "// c\n");
    EXPECT_EQ(Str(buf.getclB(false)), "// d\n");
    EXPECT_EQ(Str(buf.getclB(true)), "\n");   // y 2 has no comment
    EXPECT_EQ(Str(buf.getclB(false)), "//e\n");   // the last line gets its newline
    EXPECT_EQ(Str(buf.getclB(true)), "\n");   // no line left

    buf.setPosn(0);
    EXPECT_EQ(Str(buf.getnlc(-1)), "// a // b\n// c\n// d\n");
    EXPECT_EQ(Str(buf.gets()), "y 2\n");
    buf.setPosn(0);
    EXPECT_EQ(Str(buf.getnlc(1)), "// a // b\n// c\n");
    EXPECT_EQ(Str(buf.getnlc(0)), "// d\n");
}

TEST_F(BlockTest, FBuffAppendsIndentAndGrowsLinearly)
{
    FBuff child;
    child.Append("begin <C(1.0)>\n");
    child.setBlockIndent(2);
    child.Append("v 1\n");
    child.setBlockIndent(0);
    child.Append("end");   // no final newline: Append(FBuff) adds one

    FBuff parent;
    parent.setBlockIndent(4);
    parent.Append(child);
    parent.Append(parent);   // appending itself copies first
    const std::string once = "    begin <C(1.0)>\n      v 1\n    end\n";
    const std::string twice = once + "        begin <C(1.0)>\n          v 1\n        end\n";
    EXPECT_EQ(std::string(parent.getText()), twice);
    EXPECT_EQ(parent.getPosn(), parent.getLen());

    FBuff big;   // many appends across the 4,096-byte steps keep every byte
    std::string expect;
    for (int i = 0; i < 20000; ++i) {
        const std::string piece = "line " + std::to_string(i);
        big.WriteLine(piece.c_str());
        expect += piece + "\n";
    }
    EXPECT_EQ(std::string(big.getText()), expect);
}

TEST_F(BlockTest, FBuffLoadFile)
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

TEST_F(BlockTest, SaveFileReplacesWholeOrNotAtAll)
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
    EXPECT_EQ(st.st_mode & 0777, 0640u);   // permissions survive the replacement
    EXPECT_EQ(FilesIn(dir), 1);   // no temporary file left behind

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

// --------------------------------------------------------------------------------------------
// TextBlock: headers, loading, nesting

TEST_F(BlockTest, HeaderFormatsAndNameLimits)
{
    EXPECT_STREQ(TextBlock::MakeTBlockHeader(kAb, "wg1"), "begin <Ab(1.2)> \"wg1\"\n");
    EXPECT_STREQ(TextBlock::MakeTBlockHeader(kAb, ""), "begin <Ab(1.2)>\n");
    EXPECT_STREQ(TextBlock::MakeTBlockHeader(kAb, nullptr), "begin <Ab(1.2)>\n");

    TextBlock tb;
    EXPECT_FALSE(tb.Loaded());
    EXPECT_EQ(tb.getMajorVer(), -1);
    ASSERT_TRUE(tb.LoadBlock("begin <Ab(1.2)>\nend\n"));
    EXPECT_TRUE(tb.Loaded());
    EXPECT_STREQ(tb.getHeader(), "begin <Ab(1.2)>");

    // Headers read exactly as the C scan patterns of the format read them: names cut to 255
    // characters, types to 31, a missing version reads as 0.0, an empty name as none.
    std::vector<std::string> headers = {
        "begin <Xy> \"a b\"", "begin < T (-3.+12 )> \"\"", "begin <Ab(1.2)> \"x\"",
        "begin <A b(1 . 2)>", "begin <(1.2)>", "begin <Ab(1.)>", "begin <Ab(x.2)>",
        "begin <Ab(1.2)>\"n\"", "begin <>", "begin <Ab(1.2)", "begin <Ab(-0.7)",
        "begin  <  T(-3.+12)> \"a\"b\"", "BEGIN <T(99999999999.-99999999999)>",
        "begin <T(1.2)> x \"n\"", "begin", "begin\t<\tT(\t4.\t5)>\t\"\tn\""};
    headers.push_back("  Begin <" + std::string(40, 't') + "(3.4)> \"" + std::string(300, 'n') + "\"");
    for (const std::string &h : headers) {
        const std::string line = h + "\n";
        char angle[256] = {}, name[256] = {}, type[32] = {};
        int major = 0, minor = 0;
        const int fields = std::sscanf(line.c_str(), " %*s <%255[^>]> \"%255[^\"]", angle, name);
        if (fields >= 1)
            std::sscanf(angle, "%31[^(](%d.%d)", type, &major, &minor);
        ASSERT_TRUE(tb.LoadBlock((line + "end\n").c_str())) << h;
        EXPECT_STREQ(tb.getType(), type) << h;
        EXPECT_EQ(tb.getMajorVer(), major) << h;
        EXPECT_EQ(tb.getMinorVer(), minor) << h;
        EXPECT_EQ(Str(tb.getName()), fields >= 2 ? name : "(null)") << h;
    }

    EXPECT_FALSE(tb.LoadBlock("begin<Ab(1.0)>\nend\n"));   // first word is "begin<Ab(1.0)>"
    EXPECT_FALSE(tb.LoadBlock("beginning <Ab(1.0)>\nend\n"));
    EXPECT_FALSE(tb.LoadBlock(""));
    EXPECT_FALSE(tb.Loaded());
    EXPECT_EQ(int(error), 0);

    TextBlock w;   // setHeader replaces the header line in place
    w.StartWrite(kAb, "old");
    w.WriteLine("v 1");
    w.EndWrite();
    w.setHeader(TBlockSig{"Cd", 2, 0}, "a much longer name");
    EXPECT_STREQ(w.getText(), "begin <Cd(2.0)> \"a much longer name\"\n  v 1\nend\n");
    w.StartRead(TBlockSig{"cd", 2, 0});
    EXPECT_EQ(Str(w.gets()), "  v 1\n");
    EXPECT_TRUE(w.EOB());

    // Only the first 31 characters of a type count: a long type reads back as its own.
    const std::string longType(40, 'L');
    const TBlockSig longSig{longType.c_str(), 1, 0};
    w.StartWrite(longSig, nullptr);
    w.EndWrite();
    ASSERT_TRUE(tb.LoadBlock(w.getText()));
    EXPECT_TRUE(tb.IsType(longSig));
    EXPECT_FALSE(tb.IsType(std::string(30, 'L').c_str()));
    EXPECT_TRUE(tb.StartRead(longSig));
    EXPECT_TRUE(tb.eCheckSig(longSig));
    EXPECT_EQ(int(error), 0);
}

TEST_F(BlockTest, NestingIgnoresCaseAndEndsEarly)
{
    FBuff src;
    src.Append("begin <Ab(1.0)>\n BEGIN <X(1.0)>\n end\nEnd\n// after\n\nbegin <Ab(1.1)>\n"
               "  end of story\n  more\nend\nnot a block\n");
    src.setPosn(0);
    TextBlock outer;
    ASSERT_TRUE(outer.LoadBlock(src));
    EXPECT_STREQ(outer.getText(), "begin <Ab(1.0)>\n BEGIN <X(1.0)>\n end\nEnd\n");
    ASSERT_TRUE(outer.StartRead(TBlockSig{"AB", 1, 0}, true));
    TextBlock inner;
    ASSERT_TRUE(inner.LoadBlock(outer));
    EXPECT_STREQ(inner.getType(), "X");
    EXPECT_TRUE(outer.EOB());
    EXPECT_FALSE(inner.LoadBlock(outer));   // at the closing line: no block, no error
    EXPECT_EQ(int(error), 0);

    // The source skipped the comment and blank line after the block.
    ASSERT_TRUE(outer.LoadBlock(src));
    EXPECT_STREQ(outer.getText(), "begin <Ab(1.1)>\n  end of story\n");   // "end" ends it early
    const uint32_t at = src.getPosn();
    EXPECT_FALSE(outer.LoadBlock(src));   // "more" is not a header: the source stays put
    EXPECT_EQ(src.getPosn(), at);

    src.setPosn(0);   // leading blanks dropped while loading: nested blocks are still found
    src.SkipWhitespace(true);
    ASSERT_TRUE(outer.LoadBlock(src));
    EXPECT_STREQ(outer.getText(), "begin <Ab(1.0)>\nBEGIN <X(1.0)>\nend\nEnd\n");
    ASSERT_TRUE(outer.StartRead(TBlockSig{"AB", 1, 0}, true));
    ASSERT_TRUE(inner.LoadBlock(outer));
    EXPECT_STREQ(inner.getText(), "BEGIN <X(1.0)>\nend\n");
}

// Nested blocks are loaded from the place recorded when their parent was loaded; that must
// give what a fresh scan of the same text gives, from every position, also after re-reading
// and after the parent's text changed.
TEST_F(BlockTest, NestedLoadsAgreeWithScan)
{
    TextBlock root;
    ASSERT_TRUE(root.LoadBlock("begin <R(1.0)>\n  a\n  begin <A(1.0)> \"a1\"\n    begin <B(1.0)>\n"
                               "    x begin\n    end\n  end\n  // c\n  BEGIN <A(1.1)>\n  END\n"
                               "  b\n  begin <C(2.0)>\n    END\n  end\nend\n"));
    ASSERT_TRUE(root.StartRead(TBlockSig{"R", 1, 0}));
    auto agree = [](TextBlock &parent, uint32_t at) {
        FBuff plain(parent);   // a plain buffer: always scanned
        plain.SkipComments(true);
        TextBlock fast, scanned;
        parent.setPosn(at);
        plain.setPosn(at);
        const bool loaded = fast.LoadBlock(parent);
        EXPECT_EQ(loaded, scanned.LoadBlock(plain)) << at;
        EXPECT_EQ(parent.getPosn(), plain.getPosn()) << at;
        EXPECT_STREQ(fast.getText(), scanned.getText()) << at;
        EXPECT_EQ(fast.getBodyEnd(), scanned.getBodyEnd()) << at;
        EXPECT_EQ(Str(fast.getName()), Str(scanned.getName())) << at;
        EXPECT_EQ(fast.getMinorVer(), scanned.getMinorVer()) << at;
        return loaded;
    };
    int loads = 0;
    for (int pass = 0; pass < 2; ++pass)   // forward, then again after going back
        for (uint32_t at = 0; at < root.getLen(); ++at)
            loads += agree(root, at) && (at == 0 || root.getText()[at - 1] == '\n');
    EXPECT_EQ(loads, 2 * 5);   // from line starts: the root itself, A, B, A, C

    root.GotoBody();
    TextBlock a, b;
    EXPECT_EQ(Str(root.gets()), "  a\n");
    ASSERT_TRUE(a.LoadBlock(root));
    ASSERT_TRUE(a.StartRead(TBlockSig{"A", 1, 0}));
    ASSERT_TRUE(b.LoadBlock(a));
    EXPECT_STREQ(b.getText(), "    begin <B(1.0)>\n    x begin\n    end\n");
    a.setHeader(TBlockSig{"Longer", 1, 0}, "renamed");   // moves the nested block
    a.GotoBody();
    ASSERT_TRUE(b.LoadBlock(a));
    EXPECT_STREQ(b.getText(), "    begin <B(1.0)>\n    x begin\n    end\n");
    for (uint32_t at = 0; at < a.getLen(); ++at)
        agree(a, at);
}

TEST_F(BlockTest, MissingEndPutsSourceBack)
{
    FBuff src;
    src.Append("x\n  begin <Ab(1.0)> \"n\"\n    v 1\n    begin <C(1.0)>\n    end\n");
    src.setPosn(2);
    TextBlock tb;
    EXPECT_FALSE(tb.LoadBlock(src));
    EXPECT_STREQ(error.chars(),
                 "Missing \"end\" in block beginning\r\nbegin <Ab(1.0)> \"n\"\r\n");
    EXPECT_EQ(src.getPosn(), 2u);
    EXPECT_FALSE(tb.Loaded());
    error.reset();

    const std::string hugeHeader = "begin <" + std::string(1 << 20, 'h') + ">\n";
    EXPECT_FALSE(tb.LoadBlock(hugeHeader.c_str()));   // quoted cut short, not overrun
    EXPECT_THAT(error.chars(), StartsWith("Missing \"end\" in block beginning\r\nbegin <hhh"));
    EXPECT_LT(std::strlen(error.chars()), size_t(Error::TextSize));
}

TEST_F(BlockTest, HugeLineAndDeepNestingLoad)
{
    const std::string line(1 << 20, 'q');
    TextBlock tb;
    ASSERT_TRUE(tb.LoadBlock(("begin <Big(1.0)> \"" + line + "\"\n  " + line + "\nend\n").c_str()));
    EXPECT_EQ(std::strlen(tb.getName()), 255u);
    ASSERT_TRUE(tb.StartRead(TBlockSig{"Big", 1, 0}));
    EXPECT_EQ(std::strlen(tb.gets()), line.size() + 3);
    EXPECT_TRUE(tb.EOB());

    const int depth = 10000;
    std::string text;
    for (int i = 0; i < depth; ++i)
        text += "begin <N(1.0)>\nv\n";
    for (int i = 0; i < depth; ++i)
        text += "end\n";
    // A nested block views its parent's text instead of copying it, so walking every level
    // is linear (a copy per level would move 10,000 x 210 KB).
    TextBlock a, b;
    ASSERT_TRUE(a.LoadBlock(text.c_str()));
    EXPECT_EQ(a.getLen(), text.size());
    EXPECT_TRUE(a.StartRead(TBlockSig{"N", 1, 0}));
    EXPECT_EQ(a.getNBodyLines(), 3 * depth - 2);
    int levels = 1;
    for (TextBlock *outer = &a, *inner = &b; outer->StartRead(TBlockSig{"N", 1, 0});
         std::swap(outer, inner), ++levels) {
        EXPECT_EQ(Str(outer->gets()), "v\n");
        if (levels == depth) {
            EXPECT_TRUE(outer->EOB());
            EXPECT_FALSE(inner->LoadBlock(*outer));
            break;
        }
        ASSERT_TRUE(inner->LoadBlock(*outer));
        ASSERT_EQ(inner->getLen(), text.size() - 21u * levels);
    }
    EXPECT_EQ(levels, depth);

    // A view outlives its parent, and changing either leaves the other as it was.
    auto parent = std::make_unique<TextBlock>();
    ASSERT_TRUE(parent->LoadBlock("begin <P(1.0)>\n  begin <C(1.0)> \"c\"\n    x\n  end\ny\nend\n"));
    ASSERT_TRUE(parent->StartRead(TBlockSig{"P", 1, 0}));
    TextBlock child, grandchild;
    ASSERT_TRUE(child.LoadBlock(*parent));
    EXPECT_STREQ(child.getText(), "  begin <C(1.0)> \"c\"\n    x\n  end\n");
    EXPECT_FALSE(child.LoadBlock(*parent));   // past the child: "y" is no block
    EXPECT_FALSE(child.Loaded());
    parent->GotoBody();
    ASSERT_TRUE(child.LoadBlock(*parent));
    TextBlock copy(child);
    parent->setHeader(TBlockSig{"Q", 2, 0}, nullptr);
    EXPECT_STREQ(parent->getText(), "begin <Q(2.0)>\n  begin <C(1.0)> \"c\"\n    x\n  end\ny\nend\n");
    parent.reset();
    ASSERT_TRUE(child.StartRead(TBlockSig{"C", 1, 0}));
    EXPECT_EQ(Str(child.gets()), "    x\n");
    EXPECT_TRUE(child.EOB());
    child.AppendEnd();
    EXPECT_STREQ(child.getText(), "  begin <C(1.0)> \"c\"\n    x\n  end\nend\n");
    EXPECT_STREQ(copy.getText(), "  begin <C(1.0)> \"c\"\n    x\n  end\n");
    ASSERT_TRUE(grandchild.LoadBlock("begin <G(1.0)>\n  begin <H(1.0)>\n  end\nend\n"));
    ASSERT_TRUE(grandchild.StartRead(TBlockSig{"G", 1, 0}));
    ASSERT_TRUE(child.LoadBlock(grandchild));
    ASSERT_TRUE(child.LoadBlock(child.getText()));   // its own (viewed) text
    EXPECT_STREQ(child.getType(), "H");
    grandchild.unalloc();
    EXPECT_STREQ(child.getText(), "  begin <H(1.0)>\n  end\n");
    auto file = std::make_unique<FBuff>();   // a block loaded from a file buffer views it too
    file->Append("begin <F(1.0)>\nz\nend\nrest\n");
    file->setPosn(0);
    ASSERT_TRUE(child.LoadBlock(*file));
    file->setPosn(0);
    file->WriteLine("more");
    EXPECT_STREQ(file->getText(), "begin <F(1.0)>\nz\nend\nrest\nmore\n");
    file.reset();
    ASSERT_TRUE(child.StartRead(TBlockSig{"F", 1, 0}));
    EXPECT_EQ(Str(child.gets()), "z\n");
    EXPECT_TRUE(child.EOB());
    EXPECT_STREQ(child.getText(), "begin <F(1.0)>\nz\nend\n");
    FBuff src;
    src.Append(text.c_str());
    src.setPosn(uint32_t(17 * (depth - 1)));
    ASSERT_TRUE(a.LoadBlock(src));
    EXPECT_STREQ(a.getText(), "begin <N(1.0)>\nv\nend\n");
    EXPECT_EQ(src.getPosn(), text.size() - 4 * (depth - 1));
    EXPECT_EQ(int(error), 0);
}

// --------------------------------------------------------------------------------------------
// Writing and comment carry-over

TEST_F(BlockTest, CommentCarryOver)
{
    TextBlock tb;
    ASSERT_TRUE(tb.LoadBlock("begin <Ab(1.2)>\n  // kept after the header\n  a 1 // first\n"
                             "  // between\n  b 2\nend\n"));
    tb.StartWrite(kAb, "n");
    tb.WriteLine("a 5");
    EXPECT_EQ(tb.writeline("b %d", 6), 3);
    tb.WriteLine("c 7");   // more lines than before: plain newlines
    tb.EndWrite();
    EXPECT_STREQ(tb.getText(), "begin <Ab(1.2)> \"n\"\n  // kept after the header\n  a 5// first\n"
                               "  // between\n  b 6\n  c 7\nend\n");

    TextBlock fresh;   // an empty block takes its comments from the given previous text
    fresh.StartWrite(kAb, nullptr, "begin <Ab(1.2)>\n   x 0   // why\nend\n");
    fresh.WriteLine("x 1");
    fresh.EndWrite();
    EXPECT_STREQ(fresh.getText(), "begin <Ab(1.2)>\n  x 1// why\nend\n");
    TextBlock none;
    none.StartWrite(kAb, nullptr);
    none.WriteLine("x 1");
    none.AppendEnd();
    EXPECT_STREQ(none.getText(), "begin <Ab(1.2)>\n  x 1\nend\n");
    EXPECT_TRUE(none.StartRead(kAb));
    EXPECT_EQ(none.getNBodyLines(), 1);
}

TEST_F(BlockTest, HandEditedFileRoundTrip)
{
    const std::string data = KX_TESTDATA_DIR "/blocks/";
    FBuff file;
    ASSERT_TRUE(file.LoadFile((data + "handedited.txt").c_str()));
    TextBlock project, core, clad;
    ASSERT_TRUE(project.LoadBlock(file));
    ASSERT_TRUE(project.StartRead(TBlockSig{"Project", 2, -1}));
    EXPECT_STREQ(project.getName(), "demo");
    char title[64] = {};
    int w = 0, h = 0;
    EXPECT_EQ(project.scanline(" title %63[^/]", title), 1);
    EXPECT_EQ(project.scanline(" size %d %d", &w, &h), 2);
    EXPECT_EQ(Str(project.gets()), "  units um // microns\n");
    ASSERT_TRUE(core.LoadBlock(project));
    ASSERT_TRUE(clad.LoadBlock(project));
    EXPECT_TRUE(project.EOB());
    EXPECT_STREQ(clad.getName(), "clad");
    EXPECT_EQ(project.getNBodyLines(), 10);
    project.SkipComments(false);
    EXPECT_EQ(project.getNBodyLines(), 15);

    core.StartWrite(TBlockSig{"Layer", 1, 0}, core.getName());
    core.WriteLine("width 3");
    core.WriteLine("height 0.6");
    core.EndWrite();
    clad.StartWrite(TBlockSig{"Layer", 1, 0}, clad.getName());
    clad.WriteLine("width 9");
    clad.EndWrite();
    project.StartWrite(TBlockSig{"Project", 2, 1}, "demo");
    project.WriteLine("title New title");
    project.writeline("size %d %d", w + 1, h + 1);
    project.WriteLine("units nm");
    project.Append(core);
    project.Append(clad);
    project.EndWrite();
    EXPECT_EQ(std::string(project.getText()), ReadAll(data + "handedited_saved.txt"));

    const std::string dir = TempDir();
    ASSERT_TRUE(project.SaveFile((dir + "/p.txt").c_str()));
    EXPECT_EQ(ReadAll(dir + "/p.txt"), ReadAll(data + "handedited_saved.txt"));
    std::filesystem::remove_all(dir);
}

// --------------------------------------------------------------------------------------------
// Reading checks and version predicates

TEST_F(BlockTest, VersionPredicates)
{
    // Per block version: IsVersion(1, -1), IsVersion(1, 3), IsVersion(1, 3, 5),
    // IsAfterVersion(1, 3), VersionAtLeast(1, 3), IsBeforeVersion(1, 3).
    const struct {
        const char *version, *answers;
    } rows[] = {{"0.9", "-----B"}, {"1.0", "V----B"}, {"1.2", "V----B"}, {"1.3", "VVV-L-"},
                {"1.4", "V-VAL-"}, {"1.5", "V-VAL-"}, {"1.6", "V--AL-"}, {"2.0", "---AL-"}};
    TextBlock tb;
    const TBlockSig anyMinor{"V", 1, -1}, v13{"V", 1, 3};
    for (const auto &row : rows) {
        ASSERT_TRUE(tb.LoadBlock((std::string("begin <V(") + row.version + ")>\nend\n").c_str()));
        const std::string answers = {tb.IsVersion(1, -1) ? 'V' : '-', tb.IsVersion(1, 3) ? 'V' : '-',
                                     tb.IsVersion(1, 3, 5) ? 'V' : '-', tb.IsAfterVersion(1, 3) ? 'A' : '-',
                                     tb.VersionAtLeast(1, 3) ? 'L' : '-', tb.IsBeforeVersion(1, 3) ? 'B' : '-'};
        EXPECT_EQ(answers, row.answers) << row.version;
        EXPECT_EQ(tb.IsVersion(anyMinor), answers[0] == 'V') << row.version;   // signature forms
        EXPECT_EQ(tb.IsVersion(v13), answers[1] == 'V') << row.version;
        EXPECT_EQ(tb.IsAfterVersion(v13), answers[3] == 'A') << row.version;
        EXPECT_EQ(tb.IsBeforeVersion(v13), answers[5] == 'B') << row.version;
    }
    EXPECT_TRUE(tb.IsType("v"));
    EXPECT_FALSE(tb.IsType("W"));
}

TEST_F(BlockTest, StartReadAndChecks)
{
    TextBlock tb;
    EXPECT_FALSE(tb.StartRead(kAb));
    EXPECT_THAT(error.chars(), StartsWith("Code Error: TextBlock::LoadBlock not called?\nAt kxutils:"));
    EXPECT_EQ(int(error), 507);
    error.reset();
    ASSERT_TRUE(tb.LoadBlock("begin <Ab(-1.-1)>\nend\n"));   // version -1.-1: "unknown"
    EXPECT_FALSE(tb.CheckStartRead(TBlockSig{"Ab", -1, -1}));
    EXPECT_EQ(int(error), 507);
    EXPECT_EQ(GetSyntaxErrCount(), 0);
    error.reset();

    ASSERT_TRUE(tb.LoadBlock("begin <Ab(1.7)> \"q\"\n  // c\n\n  one\n  // c2\n  two\nend\n"));
    // Takes the pending error, which must be first + the quoted header.
    auto takeError = [](const std::string &first) {
        EXPECT_EQ(Str(error.chars()), first + " in block beginning\r\nbegin <Ab(1.7)> \"q\"\r\n");
        error.reset();
    };
    EXPECT_FALSE(tb.StartRead(TBlockSig{"Cd", 1, 7}));
    EXPECT_FALSE(tb.StartRead(kAb));   // an error is pending: nothing happens
    takeError("Expected \"begin <Cd(?.?)>\"");
    EXPECT_FALSE(tb.StartRead(kAb));
    takeError("Expected version (1.2)");
    EXPECT_TRUE(tb.StartRead(kAb, false));
    EXPECT_TRUE(tb.StartRead(TBlockSig{"ab", 1, -1}));   // leading comments are skipped
    EXPECT_EQ(tb.getNBodyLines(), 2);
    EXPECT_EQ(Str(tb.gets()), "  one\n");
    EXPECT_EQ(Str(tb.gets()), "  two\n");
    EXPECT_TRUE(tb.EOB());
    tb.EndRead();
    EXPECT_EQ(tb.getPosn(), tb.getLen());

    TextBlock comments;   // a body of comments only has no lines in skip-comments mode
    ASSERT_TRUE(comments.LoadBlock("begin <Ab(1.2)>\n  // a\n  // b\nend\n"));
    ASSERT_TRUE(comments.StartRead(kAb));
    EXPECT_EQ(comments.getNBodyLines(), 0);
    EXPECT_TRUE(comments.EOB());

    EXPECT_FALSE(tb.eCheckType("Zz"));
    takeError("Expected \"begin <Zz(?.?)>\"");
    EXPECT_TRUE(tb.eCheckVersion(1, 5, 8));
    EXPECT_FALSE(tb.eCheckVersion(1, 2, 6));
    takeError("Expected version (1.6)");
    EXPECT_FALSE(tb.eCheckSig(TBlockSig{"Zz", 3, 4}));
    EXPECT_FALSE(tb.eCheckSig(TBlockSig{"Ab", 1, 7}));   // pending error: no check at all
    takeError("Expected \"begin <Zz(3.4)>\"");
    EXPECT_FALSE(tb.eCheckSig(TBlockSig{"AB", 1, 3}));
    takeError("Expected block version (1.3)");
    EXPECT_TRUE(tb.eCheckSig(TBlockSig{"AB", 1, -1}));
    EXPECT_TRUE(tb.eCheckType("aB"));
}

TEST_F(BlockTest, CheckStartReadCountsSyntaxErrors)
{
    TextBlock tb;
    ASSERT_TRUE(tb.LoadBlock("begin <Ab(1.7)>\n  x\nend\n"));
    EXPECT_FALSE(tb.CheckStartRead(TBlockSig{"Cd", 1, 7}));
    EXPECT_FALSE(tb.CheckStartRead(TBlockSig{"Ab", 2, -1}));
    EXPECT_FALSE(tb.CheckStartRead(TBlockSig{"Ab", 1, 6}));
    EXPECT_EQ(gPrinted, "Unexpected type in block beginning: begin <Ab(1.7)>   required type: Cd\n"
                        "Unexpected version in block beginning: begin <Ab(1.7)>   required version: 2.-1\n"
                        "Unexpected version in block beginning: begin <Ab(1.7)>   required version: 1.6\n");
    EXPECT_TRUE(GetSyntaxErrFlag());
    EXPECT_EQ(GetSyntaxErrCount(), 3);
    EXPECT_EQ(int(error), 0);   // syntax errors do not touch the error record
    EXPECT_TRUE(tb.CheckStartRead(TBlockSig{"Ab", 1, 6}, false));
    EXPECT_EQ(Str(tb.gets()), "  x\n");
    ResetSyntaxErrFlag();
    EXPECT_FALSE(GetSyntaxErrFlag());
    EXPECT_EQ(GetSyntaxErrCount(), 0);

    SyntaxErr("%s", std::string(999, 's').c_str());
    EXPECT_EQ(GetSyntaxErrCount(), 1);
    EXPECT_KX_FATAL(SyntaxErr("%s", std::string(1000, 's').c_str()), "Fatal error in SyntaxErr");
}

TEST_F(BlockTest, CheckSignature)
{
    EXPECT_EQ(checksig("KXPROJ(3.1)", "kxProj(3.1)", "a.prj"), 0);
    EXPECT_EQ(int(error), 0);
    EXPECT_EQ(checksig("Other(3.1)", "kxProj(3.1)", "a.prj"), 1);
    EXPECT_STREQ(error.chars(), "Invalid signature in file \"a.prj\" - wrong file?\n"
                                "Expected signature \"kxProj(3.1)\" ");
    EXPECT_EQ(int(error), 1);
    error.reset();
    EXPECT_EQ(checksig("kxProj(3.0)", "kxProj(3.1)", "a.prj"), 1);
    EXPECT_STREQ(error.chars(), "Invalid version number in file a.prj\r\nExpected version 3.1");
    EXPECT_EQ(int(error), 2);
    error.reset();

    FILE *f = std::tmpfile();
    ASSERT_NE(f, nullptr);
    std::fputs("kxproj(3.1)\r\nbegin <X(1.0)>\n", f);
    std::rewind(f);
    EXPECT_EQ(checksig(f, "kxProj(3.1)", "b.prj"), 0);
    std::rewind(f);
    EXPECT_EQ(checksig(f, "kxProj(4.0)", "b.prj"), 1);
    EXPECT_EQ(int(error), 2);
    std::fclose(f);
    error.reset();
    f = std::tmpfile();
    EXPECT_EQ(checksig(f, "kxProj(4.0)", "empty.prj"), 1);   // no first line: wrong file
    EXPECT_EQ(int(error), 1);
    std::fclose(f);
}
