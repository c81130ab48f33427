// Fuzzes the command language: kxCommandObject::Execute on arbitrary text against a small tree
// of objects publishing variables of every built-in kind, functions and child lists.
//
// Inputs naming the log files or runfile are skipped: they would let the fuzzer write and read
// files anywhere. Questions of the switches are answered without waiting for a user, and a
// statement limit ends endless loops.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kx/commands/command_line.h"
#include "kx/foundation/kxerror.h"

namespace {

class FuzzNode : public KXObject {
public:
    explicit FuzzNode(const char *name, int depth) : name_(name)
    {
        if (depth > 0)
            for (const char *n : {"a", "b", "c"})
                kids_.push_back(std::make_unique<FuzzNode>(n, depth - 1));
    }
    void OnPublish() override
    {
        KXObject::OnPublish();
        PublishVar("b", b_, "bool");
        PublishVar("c", c_, "char");
        PublishVar("s", s_, "short");
        PublishVar("i", i_, "int");
        PublishVar("f", f_, "float");
        PublishVar("x", x_, "double");
        PublishVar("z", z_, "complex");
        PublishVar("buf", buf_, int(sizeof buf_), "char array");
        PublishVar("str", str_, "string");
        PublishVar("ro", x_, "read-only", kxPublishReadOnly);
        PublishFunc(
            "nodename",
            [this](const List<KXString> &, KXString &r) {
                r = name_.c_str();
                return true;
            },
            "(): name");
        PublishFunc(
            "echo",
            [](const List<KXString> &args, KXString &r) {
                r = args.size() > 0 ? args[1] : KXString();
                return true;
            },
            "(text): echo");
        for (auto &k : kids_)
            PublishObj("subnodes", k.get(), "child");
    }

private:
    std::string name_;
    bool b_ = false;
    char c_ = 'x';
    short s_ = 0;
    int i_ = 0;
    float f_ = 0;
    double x_ = 0;
    std::complex<double> z_;
    char buf_[6] = "";
    KXString str_;
    std::vector<std::unique_ptr<FuzzNode>> kids_;
};

bool Answer(int, const char *message) { return message[0] % 2 == 0; }

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static bool initialised = false;
    if (!initialised) {
        InitialiseKXUtils(
            "fuzz", KXString("fuzz"), 1, nullptr, nullptr, &Answer, [](int, const char *) {},
            nullptr);
        initialised = true;
    }
    const std::string text(reinterpret_cast<const char *>(data), size);
    if (text.find("Log") != std::string::npos || text.find("runfile") != std::string::npos)
        return 0;
    FuzzNode app("app", 2);
    kxCommandObject cmd(&app);
    cmd.SetStatementLimit(2000);
    (void)cmd.Execute(text.c_str());
    (void)cmd.Complete(text.c_str(), int(size / 2));
    (void)kxCommandObject::IsComplete(text.c_str());
    error.reset();
    return 0;
}
