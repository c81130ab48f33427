// kxmaterialsnode.h - the materials node of the project tree: holds a project's materials (a
// kxMaterialLibrary), is registered with the node types ("materialsTB" 1.0, display name
// "Materials", file suffix "mat") and publishes its materials to the command language.
//
// Block: "begin <materialsTB(1.0)> \"name\"" whose body is one kxMaterial block per material
// (see materb.h). Formula materials bind to the node's namespace (its own or its nearest
// ancestor's: the project's variables). Messages about the body name the node as
// "materials \"<name>\"" and count lines from the first body line.
//
// Published (OnPublish), besides the tree functions of every node:
//   object "materials"   its children are the materials under their names; each material
//                        publishes the functions
//                          index(lambda [, T [, x]])   n + ik as "(n,k)"
//                          n(...), k(...)              the real and imaginary parts
//                          absorption(...)             4 pi k / lambda in 1/cm
//                          groupindex(...)             n - lambda dn/dlambda
//                          gvd(...)                    beta2 in ps^2/km
//                          dispersion(...)             D in ps/(nm km)
//                          range([x])                  "lo hi" in um
//                        and the read-only variables "source" and "model";
//   functions "nummaterials", "addbuiltin(name)", "readlibrary(path)", "readyaml(path)",
//   "readtable(path)" (the last three add what a file holds).
// Arguments are numbers (T defaults to 293.15 K, x to 0); a refused argument fails the call
// with the material's message in the error record. So a command such as
//   app.subnodes[1].subnodes["mats"].materials["Si"].index(1.55)
// reaches silicon's index through published children and functions.
#ifndef KX_MATERIALS_KXMATERIALSNODE_H
#define KX_MATERIALS_KXMATERIALSNODE_H

#include "kx/materials/kxmatlibrary.h"
#include "kx/project/kxprojnode.h"

#include <memory>
#include <vector>

/// One material as seen by the command language (owned by its kxMaterialsNode).
class kxMaterialObject : public KXObject {
    KX_DECLARE_CLASS(kxMaterialObject)
public:
    kxMaterialObject() = default;
    explicit kxMaterialObject(kxMaterial *material) : material_(material) {}
    [[nodiscard]] kxMaterial *GetMaterial() const { return material_; }
    void OnPublish() override;

private:
    kxMaterial *material_ = nullptr; ///< not owned
    KXString source_;
    KXString model_;
};

class kxMaterialsNode : public kxProjectNode {
    KX_DECLARE_CLASS(kxMaterialsNode)
public:
    static const TBlockSig &Sig();

    kxMaterialsNode() = default;
    ~kxMaterialsNode() override;

    /// The materials (owned by the node).
    [[nodiscard]] kxMaterialLibrary &GetLibrary() { return library_; }
    [[nodiscard]] kxMaterial *FindMaterial(const char *name) const { return library_.Find(name); }

    bool PreloadVariables(TextBlock &block) override;
    bool ReadTB(TextBlock &block) override;
    bool WriteTB(TextBlock &block) override;
    void OnPublish() override;

private:
    /// Publishes the material objects under their names.
    class Materials : public KXObject {
    public:
        explicit Materials(kxMaterialsNode &owner) : owner_(owner) {}
        void OnPublish() override;

    private:
        kxMaterialsNode &owner_;
    };

    /// Makes the published objects match the library.
    void SyncPublished();
    [[nodiscard]] bool AddFrom(kxMaterialLibrary &more);

    kxMaterialLibrary library_;
    std::vector<std::unique_ptr<kxMaterialObject>> published_;
    Materials materials_{*this};
};

#endif
