// Fuzz target for the block text reader: arbitrary bytes are loaded as a sequence of blocks and
// every nested block is read in full (headers, body lines, comments), then rewritten with its
// comments carried over. Headers must read exactly as the C scan patterns of the format read
// them, and a rewritten block must load again.
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"
#include "kx/foundation/kxtextblock.h"

#include "kxfuzzutil.h"

#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using kxfuzz::Check;

/// The header fields as the C library reads them from the block's first line.
void CheckHeader(const TextBlock &block)
{
    const char *text = block.getText();
    const char *nl = std::strchr(text, '\n');
    const std::string line(text, nl ? size_t(nl - text) + 1 : std::strlen(text));
    std::vector<char> angle(line.size() + 1), name(256);
    char type[32] = {};
    int major = 0, minor = 0;
    const int fields =
        std::sscanf(line.c_str(), " %*s <%[^>]> \"%255[^\"]", angle.data(), name.data());
    if (fields >= 1)
        std::sscanf(angle.data(), "%31[^(](%d.%d)", type, &major, &minor);
    Check(std::strcmp(block.getType(), type) == 0, "type differs from sscanf");
    Check(block.getMajorVer() == major && block.getMinorVer() == minor,
          "version differs from sscanf");
    if (fields >= 2)
        Check(block.getName() && std::strcmp(block.getName(), name.data()) == 0, "name differs");
    else
        Check(block.getName() == nullptr, "name where sscanf found none");
}

// The reader recurses once per nesting level: deeper blocks are loaded but not walked, so
// that 10,000 nested blocks do not overflow the stack of an instrumented build.
constexpr size_t kMaxWalkDepth = 1000;
// The whole-block cross-checks (header against sscanf, line count, rewrite) copy or rescan the
// whole block; they run on blocks up to this size, so that a walk of deep nesting stays linear.
constexpr uint32_t kCheckedLen = 1 << 16;

struct Reader {
    std::vector<std::unique_ptr<TextBlock>> levels;
    int blocks = 0;

    void Read(TextBlock &block, size_t depth)
    {
        ++blocks;
        const bool small = block.getLen() <= kCheckedLen;
        if (small)
            CheckHeader(block);
        const TBlockSig own{block.getType(), block.getMajorVer(), block.getMinorVer()};
        if (!block.Loaded()) { // a header of version (-1.-1) reads as "never loaded"
            Check(!block.StartRead(own, true) && int(error) == 507, "unloaded block was read");
            error.reset();
            return;
        }
        if (!block.CheckStartRead(TBlockSig{"Other", own.major, own.minor}))
            Check(GetSyntaxErrFlag(), "CheckStartRead failed silently");
        error.reset();
        Check(block.StartRead(own, true), "StartRead refused the block's own signature");
        const int bodyLines = small ? block.getNBodyLines() : INT_MAX;
        if (levels.size() <= depth)
            levels.emplace_back(new TextBlock);
        TextBlock &child = *levels[depth];
        std::vector<std::string> lines;
        int read = 0;
        while (!block.EOB()) {
            if (child.LoadBlock(block)) {
                if (depth + 1 < kMaxWalkDepth)
                    Read(child, depth + 1);
                continue;
            }
            Check(int(error) == 0, "a nested block inside a loaded block failed to load");
            const char *line = block.gets();
            Check(line != nullptr, "no line before the end of the body");
            ++read;
            std::string text(line);
            while (!text.empty() && (text.back() == '\n' || text.back() == '\r'))
                text.pop_back();
            lines.push_back(text);
        }
        Check(read <= bodyLines, "more lines read than counted");
        block.GotoBody();
        block.getnlc(2);
        block.getclB(true);
        block.getclB(false);
        int a = 0, b = 0;
        block.scanline("%d %d", &a, &b);
        block.EndRead();
        if (small)
            Rewrite(block, lines);
    }

    // Writes the block again with its comments carried over: the result must load as one block.
    void Rewrite(TextBlock &block, const std::vector<std::string> &lines)
    {
        const TBlockSig own{block.getType(), block.getMajorVer(), block.getMinorVer()};
        const std::string name = block.getName() ? block.getName() : "";
        TextBlock copy(block);
        copy.StartWrite(own, name.c_str());
        for (const std::string &line : lines)
            copy.WriteLine(line.c_str());
        copy.EndWrite();
        TextBlock again;
        Check(again.LoadBlock(copy.getText()), "a rewritten block does not load");
        Check(again.getLen() == copy.getLen(), "a rewritten block loads short");
    }
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    kxfuzz::InitialiseQuietly();
    if (size == 0)
        return 0;
    const uint8_t options = data[0];
    const std::string text(reinterpret_cast<const char *>(data + 1), size - 1);

    FBuff source;
    source.Append(text.c_str());
    source.setPosn(0);
    source.SkipWhitespace(options & 1);
    source.SkipComments(options & 2);
    Reader reader;
    TextBlock block;
    for (int guard = 0; guard <= int(size); ++guard) {
        const uint32_t before = source.getPosn();
        if (!block.LoadBlock(source)) {
            error.reset();
            if (!source.gets())
                break;
            continue;
        }
        Check(source.getPosn() > before, "LoadBlock did not move the source");
        reader.Read(block, 0);
    }
    TextBlock direct; // the same text as one string
    if (direct.LoadBlock(text.c_str()))
        reader.Read(direct, 0);
    error.reset();
    ResetSyntaxErrFlag();
    return 0;
}
