// kxmatlibrary.cpp - reading and writing a library of materials as block text.
#define KX_UNIT "kxmatlibrary"
#include "kx/materials/kxmatlibrary.h"

#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxtextblock.h"

#include <algorithm>
#include <cstring>

namespace {

int CountLines(const std::string &text, size_t from, size_t to)
{
    return static_cast<int>(std::count(text.begin() + from, text.begin() + to, '\n'));
}

/// Re-raises a pending error as "<file>:<line>: <its text>".
void Locate(const char *file, int line)
{
    std::string why = error.chars();
    const int code = error;
    error.reset();
    while (!why.empty() && (why.back() == '\n' || why.back() == '\r'))
        why.pop_back();
    std::string flat;
    for (char c : why) {
        const bool lineEnd = c == '\r' || c == '\n';
        if (!lineEnd)
            flat += c;
        else if (flat.empty() || flat.back() != ' ')
            flat += ' ';
    }
    why = flat;
    error.Raise(code, "%s:%d: %s\n", file, line, why.c_str());
}

} // namespace

kxMaterialLibrary::kxMaterialLibrary(const kxMaterialLibrary &other) { *this = other; }

kxMaterialLibrary &kxMaterialLibrary::operator=(const kxMaterialLibrary &other)
{
    if (this == &other)
        return *this;
    entries_.clear();
    for (const Entry &e : other.entries_)
        entries_.push_back({std::unique_ptr<kxMaterial>(e.material->newCopy()), e.trailing});
    header_ = other.header_;
    return *this;
}

kxMaterial *kxMaterialLibrary::Find(const char *name) const
{
    for (const Entry &e : entries_)
        if (std::strcmp(e.material->GetName().c_str(), name ? name : "") == 0)
            return e.material.get();
    return nullptr;
}

bool kxMaterialLibrary::Add(kxMaterial *m)
{
    std::unique_ptr<kxMaterial> owned(m);
    if (!owned)
        return false;
    if (Find(owned->GetName().c_str())) {
        error.Raise(kxErrNameClash, "a material named \"%s\" is already in the library\n",
                    owned->GetName().c_str());
        return false;
    }
    entries_.push_back({std::move(owned), std::string()});
    return true;
}

void kxMaterialLibrary::Replace(kxMaterial *m)
{
    if (!m)
        return;
    for (Entry &e : entries_)
        if (e.material->GetName() == m->GetName()) {
            e.material.reset(m);
            return;
        }
    entries_.push_back({std::unique_ptr<kxMaterial>(m), std::string()});
}

bool kxMaterialLibrary::Remove(const char *name)
{
    for (auto it = entries_.begin(); it != entries_.end(); ++it)
        if (std::strcmp(it->material->GetName().c_str(), name ? name : "") == 0) {
            entries_.erase(it);
            return true;
        }
    return false;
}

void kxMaterialLibrary::Clear()
{
    entries_.clear();
    header_.clear();
}

bool kxMaterialLibrary::ReadText(const std::string &text, const char *file, kxNameSpace *ns)
{
    if (error)
        return false;
    FBuff source;
    source.Append(text.c_str());
    source.setPosn(0);
    const std::string body(source.getText(), source.getLen());
    std::vector<Entry> read;
    const char *skipped = source.getcl();
    std::string header = skipped ? skipped : "";
    int line = 1 + CountLines(body, 0, source.getPosn());
    while (source.getPosn() < source.getLen()) {
        const uint32_t start = source.getPosn();
        TextBlock tb;
        if (!tb.LoadBlock(source)) {
            if (!error)
                error.Raise(kxErrGeneric, "expected a material block \"begin <kxMaterial(1.0)> "
                                          "\"name\"\"\n");
            Locate(file, line);
            return false;
        }
        std::unique_ptr<kxMaterial> m(kxMaterial::ReadTB(tb, file, line, ns));
        if (!m)
            return false;
        if (std::any_of(read.begin(), read.end(),
                        [&](const Entry &e) { return e.material->GetName() == m->GetName(); })) {
            error.Raise(kxErrNameClash, "%s:%d: material \"%s\" is defined twice\n", file, line,
                        m->GetName().c_str());
            return false;
        }
        // The comment lines LoadBlock skipped after the block stay with it.
        const size_t blockEnd = start + tb.getLen();
        std::string trailing;
        if (blockEnd <= source.getPosn() && body.compare(start, tb.getLen(), tb.getText()) == 0)
            trailing = body.substr(blockEnd, source.getPosn() - blockEnd);
        line += CountLines(body, start, source.getPosn());
        read.push_back({std::move(m), trailing});
    }
    entries_ = std::move(read);
    header_ = header;
    return true;
}

bool kxMaterialLibrary::ReadFile(const char *path, kxNameSpace *ns)
{
    FBuff buf;
    if (!buf.LoadFile(path))
        return false;
    return ReadText(std::string(buf.getText(), buf.getLen()), path, ns);
}

std::string kxMaterialLibrary::WriteText() const
{
    std::string out = header_;
    for (const Entry &e : entries_) {
        TextBlock tb;
        e.material->WriteTB(tb);
        out.append(tb.getText(), tb.getLen());
        out += e.trailing;
    }
    return out;
}

bool kxMaterialLibrary::WriteFile(const char *path) const
{
    FBuff buf;
    buf.Append(WriteText().c_str());
    return buf.SaveFile(path);
}
