// Tests of the materials node: registered like the standard nodes, written and read as a block
// inside a project (formulas bound to the project's variables), and reached through what it
// publishes to the command language.
#include "../project/kxtestnodes.h"
#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/materials/kxmatbuiltin.h"
#include "kx/materials/kxmaterialsnode.h"
#include "kx/materials/kxmatmodels.h"
#include "kx/project/kxnoderegistry.h"
#include "kx/project/kxproject.h"
#include "kx/project/kxprojman.h"
#include "kxmattesthelp.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <unistd.h>

namespace {

struct Tree {
    std::unique_ptr<kxProjectManager> manager{new kxProjectManager};
    kxProject *project = nullptr;
    kxMaterialsNode *mats = nullptr;
    Tree()
    {
        error.reset();
        project = static_cast<kxProject *>(manager->AddSubnode("kxProject", "P"));
        EXPECT_TRUE(project) << TakeError();
        auto *w = new kxNamedVariable(project->GetNameSpace());
        EXPECT_TRUE(w->SetName("w"));
        w->SetValue(cx(2.0, 0.0));
        mats = static_cast<kxMaterialsNode *>(project->AddSubnode("materialsTB", "mats"));
        EXPECT_TRUE(mats) << TakeError();
    }
};

/// Calls a published function of `object` with the given argument texts.
bool Call(KXObject &object, const char *function, std::initializer_list<const char *> args,
          KXString &result)
{
    const KXCommandElt elt = object.getPublishedElt(function);
    EXPECT_EQ(elt.GetKind(), kxEltFunction) << function;
    List<KXString> list;
    for (const char *a : args)
        list.append(KXString(a));
    return elt.Call(list, result);
}

KXObject *Child(KXObject &object, const char *name)
{
    return object.getPublishedElt(name, true).GetObject();
}

} // namespace

TEST(kxMaterialsNodeTest, RegisteredLikeTheStandardNodes)
{
    Tree t;
    kxMetaData *entry = t.manager->getMetaDataTable().FindMetaDataByBlockType("materialsTB");
    ASSERT_TRUE(entry);
    EXPECT_EQ(entry->getDisplayName(), KXString("Materials"));
    EXPECT_EQ(entry->getClassInfo(), KX_CLASSINFO_OF(kxMaterialsNode));
    ASSERT_TRUE(t.mats);
    EXPECT_EQ(t.mats->getTypeName(), KXString("Materials"));
    EXPECT_EQ(t.project->FindNode("mats"), t.mats);
}

TEST(kxMaterialsNodeTest, WrittenAndReadAsABlock)
{
    Tree t;
    kxMaterialLibrary &lib = t.mats->GetLibrary();
    ASSERT_TRUE(lib.Add(kxNewBuiltinMaterial("Si")));
    auto *typed = new kxFormulaMaterial(t.mats->GetNameSpace());
    typed->SetName(KXString("typed"));
    ASSERT_TRUE(typed->SetFormula("1.5 + w*0.01")) << TakeError();
    ASSERT_TRUE(lib.Add(typed));

    TextBlock block;
    ASSERT_TRUE(t.mats->WriteTB(block));
    const std::string text = block.getText();
    EXPECT_EQ(
        text.rfind("begin <materialsTB(1.0)> \"mats\"\n  begin <kxMaterial(1.0)> \"Si\"\n", 0), 0u)
        << text;

    auto *other = static_cast<kxMaterialsNode *>(t.project->AddSubnode("materialsTB", "other"));
    ASSERT_TRUE(other);
    TextBlock in;
    ASSERT_TRUE(in.LoadBlock(text.c_str()));
    ASSERT_TRUE(other->ReadTB(in)) << TakeError();
    ASSERT_EQ(other->GetLibrary().Count(), 2);
    EXPECT_NEAR(other->FindMaterial("Si")->Index(1.55).real(), 3.477724, 2e-6);
    EXPECT_NEAR(other->FindMaterial("typed")->Index(1.0).real(), 1.52, 1e-14)
        << "the formula reads the project's variable";
    TextBlock again;
    ASSERT_TRUE(other->WriteTB(again));
    std::string againText = again.getText();
    againText.replace(againText.find("\"other\""), 7, "\"mats\"");
    EXPECT_EQ(againText, text);

    // A bad body is refused with the node named, and the node keeps its materials.
    TextBlock bad;
    ASSERT_TRUE(bad.LoadBlock("begin <materialsTB(1.0)> \"other\"\n  begin <kxMaterial(1.0)> "
                              "\"x\"\n    model glassy\n  end\nend\n"));
    EXPECT_FALSE(other->ReadTB(bad));
    EXPECT_EQ(TakeError(), "materials \"other\":2: unknown material model \"glassy\"\n");
    EXPECT_EQ(other->GetLibrary().Count(), 2);
}

TEST(kxMaterialsNodeTest, PublishedToTheCommandLanguage)
{
    Tree t;
    KXString result;
    ASSERT_TRUE(Call(*t.mats, "addbuiltin", {"Si"}, result)) << TakeError();
    ASSERT_TRUE(Call(*t.mats, "addbuiltin", {"AlGaAs"}, result)) << TakeError();
    EXPECT_FALSE(Call(*t.mats, "addbuiltin", {"Si"}, result));
    EXPECT_EQ(TakeError(), "a material named \"Si\" is already in the library\n");
    EXPECT_FALSE(Call(*t.mats, "addbuiltin", {"nothing"}, result));
    EXPECT_EQ(TakeError(), "no built-in material \"nothing\"\n");
    ASSERT_TRUE(Call(*t.mats, "nummaterials", {}, result));
    EXPECT_EQ(result, KXString("2"));

    // subnodes["mats"].materials["Si"].index(1.55), step by step.
    KXObject *subnodes = Child(*t.project, "subnodes");
    ASSERT_TRUE(subnodes);
    KXObject *mats = Child(*subnodes, "mats");
    ASSERT_EQ(mats, t.mats);
    KXObject *materials = Child(*mats, "materials");
    ASSERT_TRUE(materials);
    KXObject *si = Child(*materials, "Si");
    ASSERT_TRUE(si);
    ASSERT_TRUE(Call(*si, "index", {"1.55"}, result)) << TakeError();
    cx n;
    ASSERT_TRUE(kxStringToNumber(result.c_str(), n)) << result.c_str();
    EXPECT_NEAR(n.real(), 3.477724, 2e-6);
    ASSERT_TRUE(Call(*si, "n", {"1.55", "393.15"}, result));
    EXPECT_NEAR(std::atof(result.c_str()), 3.477724 + 1.86e-2, 2e-6);
    ASSERT_TRUE(Call(*si, "groupindex", {"1.55"}, result));
    EXPECT_GT(std::atof(result.c_str()), 3.5);
    ASSERT_TRUE(Call(*si, "range", {}, result));
    EXPECT_EQ(result, KXString("1.36 11"));
    EXPECT_EQ(si->getPublishedElt("model").GetValueString(), KXString("sellmeier"));

    KXObject *algaas = Child(*materials, "AlGaAs");
    ASSERT_TRUE(algaas);
    ASSERT_TRUE(Call(*algaas, "n", {"1.55", "300", "0.3"}, result));
    EXPECT_NEAR(std::atof(result.c_str()), 3.225045, 2e-6);
    // Refused arguments fail the call with the material's message.
    EXPECT_FALSE(Call(*algaas, "index", {"1.55", "300", "1.5"}, result));
    EXPECT_EQ(TakeError(), "material \"AlGaAs\": the composition must lie between 0 and 1, not "
                           "1.5\n");
    EXPECT_FALSE(Call(*si, "index", {"-1"}, result));
    TakeError();
    EXPECT_FALSE(Call(*si, "index", {"abc"}, result));
    EXPECT_EQ(TakeError(), "\"abc\" is not a number\n");
    EXPECT_FALSE(Call(*si, "index", {}, result));
    TakeError();
}

TEST(kxMaterialsNodeTest, SavedAndLoadedWithTheProject)
{
    Tree t;
    ASSERT_TRUE(t.mats->GetLibrary().Add(kxNewBuiltinMaterial("InP")));
    ASSERT_TRUE(t.mats->GetLibrary().Add(new kxConstantMaterial(cx(1.33, 1e-6))));
    char path[] = "/tmp/kxmatprojXXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    ASSERT_TRUE(t.project->SaveToFile(path)) << TakeError();

    auto *loaded = static_cast<kxProject *>(t.manager->AddSubnode("kxProject", "Q"));
    ASSERT_TRUE(loaded) << TakeError();
    const bool ok = loaded->LoadFromFile(path);
    std::remove(path);
    ASSERT_TRUE(ok) << TakeError();
    auto *mats = dynamic_cast<kxMaterialsNode *>(loaded->FindNode("mats"));
    ASSERT_TRUE(mats);
    ASSERT_EQ(mats->GetLibrary().Count(), 2);
    EXPECT_NEAR(mats->FindMaterial("InP")->Index(1.55).real(), 3.164929, 2e-6);
    EXPECT_EQ(mats->GetLibrary().Get(1)->Index(1.0), cx(1.33, 1e-6));
}

TEST(kxMaterialsNodeTest, FormulasSeeTheProjectVariablesWhenLoaded)
{
    kxtest::RegisterTestNodes();
    Tree t;
    t.manager->RebuildRegistry();
    // The materials node comes first: the variables are preloaded before it is read. (Here the
    // variable is also made directly, so that the formula compiles before the save.)
    auto *v = new kxNamedVariable(t.project->GetNameSpace());
    ASSERT_TRUE(v->SetName("v"));
    v->SetValue(cx(3.0, 0.0));
    auto *typed = new kxFormulaMaterial(t.mats->GetNameSpace());
    typed->SetName(KXString("typed"));
    ASSERT_TRUE(typed->SetFormula("1.5 + v*0.01")) << TakeError();
    ASSERT_TRUE(t.mats->GetLibrary().Add(typed));
    auto *vars = static_cast<kxTestNode *>(t.project->AddSubnode("testNodeTB", "vars"));
    ASSERT_TRUE(vars) << TakeError();
    vars->lines.push_back("v = 3");
    char path[] = "/tmp/kxmatprojXXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    ASSERT_TRUE(t.project->SaveToFile(path)) << TakeError();

    auto *loaded = static_cast<kxProject *>(t.manager->AddSubnode("kxProject", "Q"));
    ASSERT_TRUE(loaded) << TakeError();
    const bool ok = loaded->LoadFromFile(path);
    std::remove(path);
    ASSERT_TRUE(ok) << TakeError();
    auto *mats = dynamic_cast<kxMaterialsNode *>(loaded->FindNode("mats"));
    ASSERT_TRUE(mats);
    kxMaterial *m = mats->FindMaterial("typed");
    ASSERT_TRUE(m);
    EXPECT_NEAR(m->Index(1.0).real(), 1.53, 1e-14);
}
