// kxmaterialsnode.cpp - the materials node: registration, block reading and writing, and the
// command-language view of its materials.
#define KX_UNIT "kxmaterialsnode"
#include "kx/materials/kxmaterialsnode.h"

#include "kx/foundation/kxerror.h"
#include "kx/materials/kxmatbuiltin.h"
#include "kx/materials/kxmatyaml.h"
#include "kx/project/kxnoderegistry.h"

#include <cmath>
#include <string>

KX_IMPLEMENT_CLASS(kxMaterialObject, KXObject)
KX_IMPLEMENT_CLASS(kxMaterialsNode, kxProjectNode)

namespace {

const TBlockSig kMaterialsSig{"materialsTB", 1, 0};

kxProjectNodeInfoClass g_materialsInfo({KX_CLASSINFO_OF(kxMaterialsNode), nullptr, kMaterialsSig,
                                        "Materials", 0, "mat"});

/// Registers the node type when the library is loaded, like the core node types.
struct MaterialsRegistration {
    MaterialsRegistration() { g_materialsInfo.Register(); }
} g_materialsRegistration;

/// Argument i (from 1) as a number, or `fallback` when there are fewer arguments.
bool Argument(const List<KXString> &args, int i, double fallback, double &value)
{
    if (i > args.size()) {
        value = fallback;
        return true;
    }
    if (kxStringToNumber(args[i].c_str(), value))
        return true;
    error.Raise(kxErrGeneric, "\"%s\" is not a number\n", args[i].c_str());
    return false;
}

/// Reads (lambda [, T [, x]]).
bool Point(const List<KXString> &args, double &lambda, double &T, double &x)
{
    if (args.size() < 1 || args.size() > 3) {
        error.Raise(kxErrGeneric, "give the wavelength (um), then optionally T (K) and x\n");
        return false;
    }
    return Argument(args, 1, 0.0, lambda) && Argument(args, 2, kxRoomTemperature, T) &&
           Argument(args, 3, 0.0, x);
}

/// A published function of one material that answers a number.
template <class F>
kxCommandFunction NumberFunction(kxMaterial *m, F f)
{
    return [m, f](const List<KXString> &args, KXString &result) {
        double lambda = 0, T = 0, x = 0;
        if (!Point(args, lambda, T, x))
            return false;
        const double v = f(*m, lambda, T, x);
        if (error)
            return false;
        result = numtoA(v);
        return true;
    };
}

} // namespace

// ---------------------------------------------------------------------------------------------
void kxMaterialObject::OnPublish()
{
    KXObject::OnPublish();
    if (!material_)
        return;
    kxMaterial *m = material_;
    source_ = m->GetSource();
    model_ = KXString(m->ModelName());
    PublishVar("source", source_, "where the data come from", kxPublishReadOnly);
    PublishVar("model", model_, "the model", kxPublishReadOnly);
    PublishFunc(
        "index",
        [m](const List<KXString> &args, KXString &result) {
            double lambda = 0, T = 0, x = 0;
            std::complex<double> n;
            if (!Point(args, lambda, T, x) || !m->Index(lambda, T, x, n))
                return false;
            result = numtoA(n);
            return true;
        },
        "index(lambda [, T [, x]]): n + ik");
    PublishFunc("n",
                NumberFunction(m, [](kxMaterial &mm, double l, double T,
                                     double x) { return mm.Index(l, T, x).real(); }),
                "n(lambda [, T [, x]]): the refractive index");
    PublishFunc("k",
                NumberFunction(m, [](kxMaterial &mm, double l, double T,
                                     double x) { return mm.Index(l, T, x).imag(); }),
                "k(lambda [, T [, x]]): the extinction coefficient");
    PublishFunc("absorption",
                NumberFunction(m, [](kxMaterial &mm, double l, double T,
                                     double x) { return mm.Absorption(l, T, x); }),
                "absorption(lambda [, T [, x]]): 4 pi k / lambda in 1/cm");
    PublishFunc("groupindex",
                NumberFunction(m, [](kxMaterial &mm, double l, double T,
                                     double x) { return mm.GroupIndex(l, T, x); }),
                "groupindex(lambda [, T [, x]]): n - lambda dn/dlambda");
    PublishFunc("gvd",
                NumberFunction(m, [](kxMaterial &mm, double l, double T,
                                     double x) { return mm.GroupVelocityDispersion(l, T, x); }),
                "gvd(lambda [, T [, x]]): beta2 in ps^2/km");
    PublishFunc("dispersion",
                NumberFunction(m, [](kxMaterial &mm, double l, double T,
                                     double x) { return mm.DispersionParameter(l, T, x); }),
                "dispersion(lambda [, T [, x]]): D in ps/(nm km)");
    PublishFunc(
        "range",
        [m](const List<KXString> &args, KXString &result) {
            double x = 0;
            if (!Argument(args, 1, 0.0, x))
                return false;
            double lo = 0, hi = 0;
            m->Range(x, lo, hi);
            result = numtoA(lo) + " " + (std::isfinite(hi) ? numtoA(hi) : KXString("inf"));
            return true;
        },
        "range([x]): the validity range in um");
}

// ---------------------------------------------------------------------------------------------
const TBlockSig &kxMaterialsNode::Sig() { return kMaterialsSig; }

kxMaterialsNode::~kxMaterialsNode() = default;

void kxMaterialsNode::SyncPublished()
{
    bool same = static_cast<int>(published_.size()) == library_.Count();
    for (int i = 0; same && i < library_.Count(); ++i)
        same = published_[i]->GetMaterial() == library_.Get(i);
    if (same)
        return;
    published_.clear();
    for (int i = 0; i < library_.Count(); ++i)
        published_.push_back(std::make_unique<kxMaterialObject>(library_.Get(i)));
}

void kxMaterialsNode::Materials::OnPublish()
{
    owner_.SyncPublished();
    for (auto &object : owner_.published_)
        PublishObj(object->GetMaterial()->GetName().c_str(), object.get(), "a material");
}

bool kxMaterialsNode::PreloadVariables(TextBlock &)
{
    // The body holds materials only: no variables to preload, no child nodes.
    return true;
}

bool kxMaterialsNode::ReadTB(TextBlock &block)
{
    if (!block.StartRead(Sig()))
        return false;
    const std::string text = block.getText();
    const uint32_t from = block.getBodyStart(), to = block.getBodyEnd();
    const std::string body = to > from && to <= text.size() ? text.substr(from, to - from) : "";
    const std::string label = std::string("materials \"") + getName().c_str() + "\"";
    kxMaterialLibrary read;
    if (!read.ReadText(body, label.c_str(), GetNameSpace()))
        return false;
    library_ = read;
    block.EndRead();
    return true;
}

bool kxMaterialsNode::WriteTB(TextBlock &block)
{
    block.StartWrite(Sig(), getName().c_str());
    for (int i = 0; i < library_.Count(); ++i) {
        TextBlock material;
        library_.Get(i)->WriteTB(material);
        block.Append(material);
    }
    block.EndWrite();
    return true;
}

bool kxMaterialsNode::AddFrom(kxMaterialLibrary &more)
{
    for (int i = 0; i < more.Count(); ++i)
        if (library_.Find(more.Get(i)->GetName().c_str())) {
            error.Raise(kxErrNameClash, "a material named \"%s\" is already in the library\n",
                        more.Get(i)->GetName().c_str());
            return false;
        }
    for (int i = 0; i < more.Count(); ++i)
        library_.Replace(more.Get(i)->newCopy());
    MarkModified();
    return true;
}

void kxMaterialsNode::OnPublish()
{
    kxProjectNode::OnPublish();
    PublishObj("materials", &materials_, "the materials, by name");
    PublishFunc(
        "nummaterials",
        [this](const List<KXString> &, KXString &result) {
            result = numtoA(library_.Count());
            return true;
        },
        "the number of materials");
    PublishFunc(
        "addbuiltin",
        [this](const List<KXString> &args, KXString &) {
            kxMaterialLibrary one;
            kxMaterial *m = args.size() == 1 ? kxNewBuiltinMaterial(args[1].c_str()) : nullptr;
            if (!m) {
                error.Raise(kxErrGeneric, "no built-in material \"%s\"\n",
                            args.size() >= 1 ? args[1].c_str() : "");
                return false;
            }
            return one.Add(m) && AddFrom(one);
        },
        "addbuiltin(name): adds a built-in material");
    PublishFunc(
        "readlibrary",
        [this](const List<KXString> &args, KXString &) {
            kxMaterialLibrary more;
            return args.size() == 1 && more.ReadFile(args[1].c_str(), GetNameSpace()) &&
                   AddFrom(more);
        },
        "readlibrary(path): adds the materials of a block text file");
    auto readOne = [this](bool yaml) {
        return [this, yaml](const List<KXString> &args, KXString &) {
            if (args.size() != 1)
                return false;
            kxMaterial *m = yaml ? static_cast<kxMaterial *>(kxReadDatabaseYAML(args[1].c_str()))
                                 : kxReadTableFile(args[1].c_str());
            kxMaterialLibrary one;
            return m && one.Add(m) && AddFrom(one);
        };
    };
    PublishFunc("readyaml", readOne(true), "readyaml(path): adds a refractive-index database file");
    PublishFunc("readtable", readOne(false), "readtable(path): adds a table of lambda, n [, k]");
}
