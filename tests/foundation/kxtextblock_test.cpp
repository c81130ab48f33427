// Tests of the block text format: TextBlock, checksig and the syntax-error counter.
#include "kx/foundation/kxtextblock.h"

#include "kxblocktest_util.h"
#include "kxfatal_test_util.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <string>
#include <vector>

using ::testing::StartsWith;

namespace {

const TBlockSig kAb{"Ab", 1, 2};

} // namespace

using TextBlockTest = BlockFixture;

// --------------------------------------------------------------------------------------------
// TextBlock: headers, loading, nesting

TEST_F(TextBlockTest, HeaderFormatsAndNameLimits)
{
    EXPECT_STREQ(TextBlock::MakeTBlockHeader(kAb, "wg1"), "begin <Ab(1.2)> \"wg1\"\n");
    EXPECT_STREQ(TextBlock::MakeTBlockHeader(kAb, ""), "begin <Ab(1.2)>\n");
    EXPECT_STREQ(TextBlock::MakeTBlockHeader(kAb, nullptr), "begin <Ab(1.2)>\n");
    // The type is cut to 31 characters; versions are written as signed decimals.
    const TBlockSig odd{"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghij", -3, 2147483647};
    EXPECT_STREQ(TextBlock::MakeTBlockHeader(odd, "n"),
                 "begin <ABCDEFGHIJKLMNOPQRSTUVWXYZabcde(-3.2147483647)> \"n\"\n");
    const TBlockSig lowest{nullptr, -2147483647 - 1, 0};
    EXPECT_STREQ(TextBlock::MakeTBlockHeader(lowest, nullptr), "begin <(-2147483648.0)>\n");

    TextBlock tb;
    EXPECT_FALSE(tb.Loaded());
    EXPECT_EQ(tb.getMajorVer(), -1);
    ASSERT_TRUE(tb.LoadBlock("begin <Ab(1.2)>\nend\n"));
    EXPECT_TRUE(tb.Loaded());
    EXPECT_STREQ(tb.getHeader(), "begin <Ab(1.2)>");

    // Headers read exactly as the C scan patterns of the format read them: names cut to 255
    // characters, types to 31, a missing version reads as 0.0, an empty name as none.
    std::vector<std::string> headers = {"begin <Xy> \"a b\"",
                                        "begin < T (-3.+12 )> \"\"",
                                        "begin <Ab(1.2)> \"x\"",
                                        "begin <A b(1 . 2)>",
                                        "begin <(1.2)>",
                                        "begin <Ab(1.)>",
                                        "begin <Ab(x.2)>",
                                        "begin <Ab(1.2)>\"n\"",
                                        "begin <>",
                                        "begin <Ab(1.2)",
                                        "begin <Ab(-0.7)",
                                        "begin  <  T(-3.+12)> \"a\"b\"",
                                        "BEGIN <T(99999999999.-99999999999)>",
                                        "begin <T(1.2)> x \"n\"",
                                        "begin",
                                        "begin\t<\tT(\t4.\t5)>\t\"\tn\""};
    headers.push_back("  Begin <" + std::string(40, 't') + "(3.4)> \"" + std::string(300, 'n') +
                      "\"");
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

    EXPECT_FALSE(tb.LoadBlock("begin<Ab(1.0)>\nend\n")); // first word is "begin<Ab(1.0)>"
    EXPECT_FALSE(tb.LoadBlock("beginning <Ab(1.0)>\nend\n"));
    EXPECT_FALSE(tb.LoadBlock(""));
    EXPECT_FALSE(tb.Loaded());
    EXPECT_EQ(int(error), 0);

    TextBlock w; // setHeader replaces the header line in place
    w.StartWrite(kAb, "old");
    w.WriteLine("v 1");
    w.EndWrite();
    w.setHeader(TBlockSig{"Cd", 2, 0}, "a much longer name");
    EXPECT_STREQ(w.getText(), "begin <Cd(2.0)> \"a much longer name\"\n  v 1\nend\n");
    EXPECT_TRUE(w.StartRead(TBlockSig{"cd", 2, 0}));
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

TEST_F(TextBlockTest, NestingIgnoresCaseAndEndsEarly)
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
    EXPECT_FALSE(inner.LoadBlock(outer)); // at the closing line: no block, no error
    EXPECT_EQ(int(error), 0);

    // The source skipped the comment and blank line after the block.
    ASSERT_TRUE(outer.LoadBlock(src));
    EXPECT_STREQ(outer.getText(), "begin <Ab(1.1)>\n  end of story\n"); // "end" ends it early
    const uint32_t at = src.getPosn();
    EXPECT_FALSE(outer.LoadBlock(src)); // "more" is not a header: the source stays put
    EXPECT_EQ(src.getPosn(), at);

    src.setPosn(0); // leading blanks dropped while loading: nested blocks are still found
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
TEST_F(TextBlockTest, NestedLoadsAgreeWithScan)
{
    TextBlock root;
    ASSERT_TRUE(root.LoadBlock("begin <R(1.0)>\n  a\n  begin <A(1.0)> \"a1\"\n    begin <B(1.0)>\n"
                               "    x begin\n    end\n  end\n  // c\n  BEGIN <A(1.1)>\n  END\n"
                               "  b\n  begin <C(2.0)>\n    END\n  end\nend\n"));
    ASSERT_TRUE(root.StartRead(TBlockSig{"R", 1, 0}));
    auto agree = [](TextBlock &parent, uint32_t at) {
        FBuff plain(parent); // a plain buffer: always scanned
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
    for (int pass = 0; pass < 2; ++pass) // forward, then again after going back
        for (uint32_t at = 0; at < root.getLen(); ++at)
            loads += agree(root, at) && (at == 0 || root.getText()[at - 1] == '\n');
    EXPECT_EQ(loads, 2 * 5); // from line starts: the root itself, A, B, A, C

    root.GotoBody();
    TextBlock a, b;
    EXPECT_EQ(Str(root.gets()), "  a\n");
    ASSERT_TRUE(a.LoadBlock(root));
    ASSERT_TRUE(a.StartRead(TBlockSig{"A", 1, 0}));
    ASSERT_TRUE(b.LoadBlock(a));
    EXPECT_STREQ(b.getText(), "    begin <B(1.0)>\n    x begin\n    end\n");
    a.setHeader(TBlockSig{"Longer", 1, 0}, "renamed"); // moves the nested block
    a.GotoBody();
    ASSERT_TRUE(b.LoadBlock(a));
    EXPECT_STREQ(b.getText(), "    begin <B(1.0)>\n    x begin\n    end\n");
    for (uint32_t at = 0; at < a.getLen(); ++at)
        agree(a, at);
}

TEST_F(TextBlockTest, MissingEndPutsSourceBack)
{
    FBuff src;
    src.Append("x\n  begin <Ab(1.0)> \"n\"\n    v 1\n    begin <C(1.0)>\n    end\n");
    src.setPosn(2);
    TextBlock tb;
    EXPECT_FALSE(tb.LoadBlock(src));
    EXPECT_STREQ(error.chars(), "Missing \"end\" in block beginning\r\nbegin <Ab(1.0)> \"n\"\r\n");
    EXPECT_EQ(src.getPosn(), 2u);
    EXPECT_FALSE(tb.Loaded());
    error.reset();

    const std::string hugeHeader = "begin <" + std::string(1 << 20, 'h') + ">\n";
    EXPECT_FALSE(tb.LoadBlock(hugeHeader.c_str())); // quoted cut short, not overrun
    EXPECT_THAT(error.chars(), StartsWith("Missing \"end\" in block beginning\r\nbegin <hhh"));
    EXPECT_LT(std::strlen(error.chars()), size_t(Error::TextSize));
}

TEST_F(TextBlockTest, HugeLineAndDeepNestingLoad)
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
    ASSERT_TRUE(
        parent->LoadBlock("begin <P(1.0)>\n  begin <C(1.0)> \"c\"\n    x\n  end\ny\nend\n"));
    ASSERT_TRUE(parent->StartRead(TBlockSig{"P", 1, 0}));
    TextBlock child, grandchild;
    ASSERT_TRUE(child.LoadBlock(*parent));
    EXPECT_STREQ(child.getText(), "  begin <C(1.0)> \"c\"\n    x\n  end\n");
    EXPECT_FALSE(child.LoadBlock(*parent)); // past the child: "y" is no block
    EXPECT_FALSE(child.Loaded());
    parent->GotoBody();
    ASSERT_TRUE(child.LoadBlock(*parent));
    TextBlock copy(child);
    parent->setHeader(TBlockSig{"Q", 2, 0}, nullptr);
    EXPECT_STREQ(parent->getText(),
                 "begin <Q(2.0)>\n  begin <C(1.0)> \"c\"\n    x\n  end\ny\nend\n");
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
    ASSERT_TRUE(child.LoadBlock(child.getText())); // its own (viewed) text
    EXPECT_STREQ(child.getType(), "H");
    grandchild.unalloc();
    EXPECT_STREQ(child.getText(), "  begin <H(1.0)>\n  end\n");
    auto file = std::make_unique<FBuff>(); // a block loaded from a file buffer views it too
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

TEST_F(TextBlockTest, CommentCarryOver)
{
    TextBlock tb;
    ASSERT_TRUE(tb.LoadBlock("begin <Ab(1.2)>\n  // kept after the header\n  a 1 // first\n"
                             "  // between\n  b 2\nend\n"));
    tb.StartWrite(kAb, "n");
    tb.WriteLine("a 5");
    EXPECT_EQ(tb.writeline("b %d", 6), 3);
    tb.WriteLine("c 7"); // more lines than before: plain newlines
    tb.EndWrite();
    EXPECT_STREQ(tb.getText(), "begin <Ab(1.2)> \"n\"\n  // kept after the header\n  a 5// first\n"
                               "  // between\n  b 6\n  c 7\nend\n");

    TextBlock fresh; // an empty block takes its comments from the given previous text
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

TEST_F(TextBlockTest, HandEditedFileRoundTrip)
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

TEST_F(TextBlockTest, VersionPredicates)
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
        const std::string answers = {
            tb.IsVersion(1, -1) ? 'V' : '-',     tb.IsVersion(1, 3) ? 'V' : '-',
            tb.IsVersion(1, 3, 5) ? 'V' : '-',   tb.IsAfterVersion(1, 3) ? 'A' : '-',
            tb.VersionAtLeast(1, 3) ? 'L' : '-', tb.IsBeforeVersion(1, 3) ? 'B' : '-'};
        EXPECT_EQ(answers, row.answers) << row.version;
        EXPECT_EQ(tb.IsVersion(anyMinor), answers[0] == 'V') << row.version; // signature forms
        EXPECT_EQ(tb.IsVersion(v13), answers[1] == 'V') << row.version;
        EXPECT_EQ(tb.IsAfterVersion(v13), answers[3] == 'A') << row.version;
        EXPECT_EQ(tb.IsBeforeVersion(v13), answers[5] == 'B') << row.version;
    }
    EXPECT_TRUE(tb.IsType("v"));
    EXPECT_FALSE(tb.IsType("W"));
}

TEST_F(TextBlockTest, StartReadAndChecks)
{
    TextBlock tb;
    EXPECT_FALSE(tb.StartRead(kAb));
    EXPECT_THAT(error.chars(),
                StartsWith("Code Error: TextBlock::LoadBlock not called?\nAt kxutils:"));
    EXPECT_EQ(int(error), 507);
    error.reset();
    ASSERT_TRUE(tb.LoadBlock("begin <Ab(-1.-1)>\nend\n")); // version -1.-1: "unknown"
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
    EXPECT_FALSE(tb.StartRead(kAb)); // an error is pending: nothing happens
    takeError("Expected \"begin <Cd(?.?)>\"");
    EXPECT_FALSE(tb.StartRead(kAb));
    takeError("Expected version (1.2)");
    EXPECT_TRUE(tb.StartRead(kAb, false));
    EXPECT_TRUE(tb.StartRead(TBlockSig{"ab", 1, -1})); // leading comments are skipped
    EXPECT_EQ(tb.getNBodyLines(), 2);
    EXPECT_EQ(Str(tb.gets()), "  one\n");
    EXPECT_EQ(Str(tb.gets()), "  two\n");
    EXPECT_TRUE(tb.EOB());
    tb.EndRead();
    EXPECT_EQ(tb.getPosn(), tb.getLen());

    TextBlock comments; // a body of comments only has no lines in skip-comments mode
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
    EXPECT_FALSE(tb.eCheckSig(TBlockSig{"Ab", 1, 7})); // pending error: no check at all
    takeError("Expected \"begin <Zz(3.4)>\"");
    EXPECT_FALSE(tb.eCheckSig(TBlockSig{"AB", 1, 3}));
    takeError("Expected block version (1.3)");
    EXPECT_TRUE(tb.eCheckSig(TBlockSig{"AB", 1, -1}));
    EXPECT_TRUE(tb.eCheckType("aB"));
}

TEST_F(TextBlockTest, CheckStartReadCountsSyntaxErrors)
{
    TextBlock tb;
    ASSERT_TRUE(tb.LoadBlock("begin <Ab(1.7)>\n  x\nend\n"));
    EXPECT_FALSE(tb.CheckStartRead(TBlockSig{"Cd", 1, 7}));
    EXPECT_FALSE(tb.CheckStartRead(TBlockSig{"Ab", 2, -1}));
    EXPECT_FALSE(tb.CheckStartRead(TBlockSig{"Ab", 1, 6}));
    EXPECT_EQ(gPrinted,
              "Unexpected type in block beginning: begin <Ab(1.7)>   required type: Cd\n"
              "Unexpected version in block beginning: begin <Ab(1.7)>   required version: 2.-1\n"
              "Unexpected version in block beginning: begin <Ab(1.7)>   required version: 1.6\n");
    EXPECT_TRUE(GetSyntaxErrFlag());
    EXPECT_EQ(GetSyntaxErrCount(), 3);
    EXPECT_EQ(int(error), 0); // syntax errors do not touch the error record
    EXPECT_TRUE(tb.CheckStartRead(TBlockSig{"Ab", 1, 6}, false));
    EXPECT_EQ(Str(tb.gets()), "  x\n");
    ResetSyntaxErrFlag();
    EXPECT_FALSE(GetSyntaxErrFlag());
    EXPECT_EQ(GetSyntaxErrCount(), 0);

    SyntaxErr("%s", std::string(999, 's').c_str());
    EXPECT_EQ(GetSyntaxErrCount(), 1);
    EXPECT_KX_FATAL(SyntaxErr("%s", std::string(1000, 's').c_str()), "Fatal error in SyntaxErr");
}

TEST_F(TextBlockTest, CheckSignature)
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
    EXPECT_EQ(checksig(f, "kxProj(4.0)", "empty.prj"), 1); // no first line: wrong file
    EXPECT_EQ(int(error), 1);
    std::fclose(f);
}

// --------------------------------------------------------------------------------------------
// Nested writing (LendTo / TakeBack)

namespace {

/// A hand-made block tree; `quirk` selects an unusual way of writing the block.
struct WriteTree {
    std::string name;
    std::vector<std::string> lines;
    std::vector<std::string> data; ///< finished blocks appended whole
    std::vector<WriteTree> kids;
    enum Quirk {
        kPlain,
        kOpenLine,  ///< a line begun with Append and no newline, ended by WriteLine
        kInnerLine, ///< a line with a line end inside it
        kNoEnd,     ///< no closing line: the parent ends the text with a newline
        kNewHeader, ///< a new header mid-write (ends nested writing early)
        kReloaded,  ///< the text replaced by LoadBlock mid-write
        kFails      ///< writes, then fails
    } quirk = kPlain;
};

const TBlockSig kNode{"node", 1, 0};

/// Writes `tree` into `block`; children by nested writing (`lend`) or as copies appended.
bool WriteNested(const WriteTree &tree, TextBlock &block, bool lend)
{
    block.StartWrite(kNode, tree.name.c_str());
    for (const std::string &line : tree.lines)
        block.WriteLine(line.c_str());
    if (tree.quirk == WriteTree::kOpenLine) {
        block.Append("open ");
        block.WriteLine("closed");
    }
    if (tree.quirk == WriteTree::kInnerLine)
        block.writeline("first\n%s", "second");
    for (const std::string &data : tree.data) {
        TextBlock sub;
        if (!sub.LoadBlock(data.c_str()))
            return false;
        block.Append(sub);
    }
    if (tree.quirk == WriteTree::kNewHeader)
        block.setHeader(kAb, "renamed");
    if (tree.quirk == WriteTree::kReloaded && !block.LoadBlock("begin <Ab(1.2)>\n  x\nend\n"))
        return false;
    for (const WriteTree &kid : tree.kids) {
        TextBlock child;
        if (lend) {
            EXPECT_TRUE(block.LendTo(child));
        }
        const bool written = WriteNested(kid, child, lend);
        if (lend)
            block.TakeBack(child, written);
        else if (written)
            block.Append(child);
        if (!written)
            return false;
    }
    if (tree.quirk == WriteTree::kFails)
        return false;
    if (tree.quirk != WriteTree::kNoEnd)
        block.EndWrite();
    return true;
}

WriteTree Leaf(const std::string &name, WriteTree::Quirk quirk = WriteTree::kPlain)
{
    WriteTree t;
    t.name = name;
    t.lines = {name + "_a = 1", "", name + "_b = 2 // note"};
    t.quirk = quirk;
    return t;
}

} // namespace

TEST_F(TextBlockTest, NestedWriteMatchesAppendedCopies)
{
    const std::string data = "begin <data(1.0)> \"d\"\n  1 2\n\n  begin <inner(1.0)>\n  end\nend\n";
    WriteTree root = Leaf("root");
    WriteTree mid = Leaf("mid");
    mid.data = {data, data};
    mid.kids = {Leaf("k1"),
                Leaf("empty"),
                Leaf("two\nlines"),
                Leaf("open", WriteTree::kOpenLine),
                Leaf("inner", WriteTree::kInnerLine),
                Leaf("noend", WriteTree::kNoEnd)};
    mid.kids[1].lines.clear();
    WriteTree deep = Leaf("deep");
    deep.kids = {mid, Leaf("header", WriteTree::kNewHeader), Leaf("reload", WriteTree::kReloaded)};
    deep.kids[1].kids = {Leaf("under_new_header")};
    root.kids = {deep, Leaf("last")};
    root.data = {data};

    TextBlock copied, nested;
    ASSERT_TRUE(WriteNested(root, copied, false));
    ASSERT_TRUE(WriteNested(root, nested, true));
    EXPECT_EQ(std::string(nested.getText()), copied.getText());
    EXPECT_NE(std::string(copied.getText()).find("\n      begin <node(1.0)> \"k1\"\n        k1_a"),
              std::string::npos);
    EXPECT_NE(std::string(copied.getText()).find("\n    begin <Ab(1.2)> \"renamed\"\n"),
              std::string::npos);
    // The written text reads back as the block it is.
    ASSERT_TRUE(nested.StartRead(kNode));
    EXPECT_EQ(nested.getBlockEnd(), nested.getLen());

    // A failing child, at any depth, leaves its parent's text as it was before the child.
    for (WriteTree *failing : {&root.kids[1], &root.kids[0].kids[0].kids[2]}) {
        failing->quirk = WriteTree::kFails;
        TextBlock parent;
        parent.StartWrite(kAb, "p");
        parent.WriteLine("kept");
        const std::string before = parent.getText();
        TextBlock child;
        ASSERT_TRUE(parent.LendTo(child));
        EXPECT_FALSE(WriteNested(root, child, true));
        parent.TakeBack(child, false);
        EXPECT_EQ(std::string(parent.getText()), before);
        EXPECT_EQ(child.getLen(), 0u);
        parent.EndWrite();
        EXPECT_STREQ(parent.getText(), "begin <Ab(1.2)> \"p\"\n  kept\nend\n");
        failing->quirk = WriteTree::kPlain;
    }
}

TEST_F(TextBlockTest, StartWriteHeaderMatchesMakeTBlockHeader)
{
    const std::string longType(40, 't');
    const TBlockSig sigs[] = {
        {"Ab", 1, 2}, {longType.c_str(), -3, 0}, {"x", INT32_MIN, INT32_MAX}, {nullptr, 0, -1}};
    for (const TBlockSig &sig : sigs)
        for (const char *name : {"wg1", "", static_cast<const char *>(nullptr), "a b"}) {
            TextBlock block;
            block.StartWrite(sig, name);
            EXPECT_STREQ(block.getText(), TextBlock::MakeTBlockHeader(sig, name));
            TextBlock parent; // nested: the same line behind the lender's indentation
            parent.StartWrite(kAb, "p");
            TextBlock child;
            ASSERT_TRUE(parent.LendTo(child));
            child.StartWrite(sig, name);
            EXPECT_EQ(std::string(child.getText()),
                      "  " + std::string(TextBlock::MakeTBlockHeader(sig, name)));
            parent.TakeBack(child, true);
        }
}

TEST_F(TextBlockTest, NestedWriteGuards)
{
    TextBlock parent;
    parent.StartWrite(kAb, "p");
    parent.Append("no line end");
    TextBlock child;
    EXPECT_FALSE(parent.LendTo(child)); // not at a line start: the child writes on its own
    child.StartWrite(kNode, "c");
    child.EndWrite();
    parent.TakeBack(child, true);
    EXPECT_STREQ(parent.getText(),
                 "begin <Ab(1.2)> \"p\"\n  no line end  begin <node(1.0)> \"c\"\n  end\n");
    EXPECT_FALSE(parent.LendTo(parent));

    // A borrower dropped without TakeBack gives the storage back with its text cut off; the
    // lender is empty while the loan lasts and grows normally afterwards.
    TextBlock lender;
    lender.StartWrite(kAb, "l");
    const std::string before = lender.getText();
    {
        TextBlock borrower;
        ASSERT_TRUE(lender.LendTo(borrower));
        EXPECT_EQ(lender.getLen(), 0u);
        EXPECT_FALSE(borrower.LendTo(lender)); // a lender that is lent out takes no loan
        borrower.StartWrite(kNode, "b");
        for (int i = 0; i < 5000; ++i) // grows (moves) the lender's storage
            borrower.writeline("line %d", i);
        EXPECT_EQ(std::string(borrower.getText(), 40),
                  "  begin <node(1.0)> \"b\"\n    line 0\n    l");
    }
    EXPECT_EQ(std::string(lender.getText()), before);
    lender.WriteLine("x");
    lender.EndWrite();
    EXPECT_STREQ(lender.getText(), "begin <Ab(1.2)> \"l\"\n  x\nend\n");

    // A copy of a borrower sees its text as written, with the lender's indentation; unalloc
    // ends nested writing, so that the lender gets its storage back as it was.
    TextBlock second;
    second.StartWrite(kAb, "s");
    TextBlock borrower;
    ASSERT_TRUE(second.LendTo(borrower));
    borrower.StartWrite(kNode, "b");
    borrower.WriteLine("a");
    TextBlock copy;
    copy = borrower;
    borrower.unalloc();
    EXPECT_STREQ(copy.getText(), "  begin <node(1.0)> \"b\"\n    a\n");
    second.TakeBack(borrower, true);
    second.EndWrite();
    EXPECT_STREQ(second.getText(), "begin <Ab(1.2)> \"s\"\nend\n");
}
