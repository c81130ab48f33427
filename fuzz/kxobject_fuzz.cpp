// Fuzzes the texts the object model reads: message target filters (sent through a small tree)
// and "name=value" settings of published variables of every built-in kind.
#include <cstddef>
#include <cstdint>
#include <string>

#include "kx/foundation/kxerror.h"
#include "kx/objects/kxchecksum.h"

namespace {

class FuzzNode : public Checkable {
    KX_DECLARE_CLASS(FuzzNode)
public:
    void OnPublish() override
    {
        Checkable::OnPublish();
        PublishVar("b", b, "bool");
        PublishVar("c", c, "char");
        PublishVar("s", s, "short");
        PublishVar("i", i, "int");
        PublishVar("f", f, "float");
        PublishVar("d", d, "double");
        PublishVar("z", z, "complex");
        PublishVar("buf", buf, sizeof buf, "char array");
        PublishVar("str", str, "string");
        PublishObj("child", child, "child");
    }
    void OnMessage(KXMessage &message) override { message.SetResult(message.GetResult() + 1); }

    bool b = false;
    char c = 'x';
    short s = 0;
    int i = 0;
    float f = 0;
    double d = 0;
    std::complex<double> z;
    char buf[6] = "";
    KXString str;
    KXObject *child = nullptr;
};

} // namespace

KX_IMPLEMENT_CLASS(FuzzNode, Checkable)

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const std::string text(reinterpret_cast<const char *>(data), size);
    FuzzNode root, leaf;
    root.child = &leaf;

    KXMessage message(text.c_str(), 1);
    root.sendMessage(message, kxMsgPostOrder);

    const std::size_t eq = text.find('=');
    if (eq != std::string::npos) {
        const std::string name = text.substr(0, eq);
        (void)root.SetParam(name.c_str(), text.c_str() + eq + 1);
        (void)root.getPublishedElt(name.c_str()).GetValueString();
    }
    (void)root.getCurrCheckSum();
    error.reset();
    return 0;
}
