// Tests of kxClassInfo: the class registry.
#include "kxtestobjects.h"

using KXClassInfoTest = ObjectFixture;

TEST_F(KXClassInfoTest, ClassRegistry)
{
    EXPECT_EQ(kxClassInfo::FindClass("tstRect"), &tstRect::ms_classInfo);
    EXPECT_EQ(kxClassInfo::FindClass("tstrect"), nullptr);

    // Registry order follows construction order (within this file: tstTagged before tstShape).
    std::vector<std::string> names;
    for (const kxClassInfo *c = kxClassInfo::GetFirst(); c; c = c->GetNext())
        names.push_back(c->GetClassName());
    auto at = [&](const char *n) {
        return std::find(names.begin(), names.end(), n) - names.begin();
    };
    EXPECT_LT(at("tstTagged"), at("tstShape"));
    EXPECT_LT(at("tstShape"), at("tstTaggedRect"));
    EXPECT_LT(at("KXObject"), at("Updatable"));

    // A record unlinks itself when destroyed, and the tail stays right.
    {
        kxClassInfo temporary("tstTemporary", &KXObject::ms_classInfo, nullptr, nullptr);
        EXPECT_EQ(kxClassInfo::FindClass("tstTemporary"), &temporary);
    }
    EXPECT_EQ(kxClassInfo::FindClass("tstTemporary"), nullptr);
    kxClassInfo late("tstLate", nullptr, nullptr, nullptr);
    EXPECT_EQ(kxClassInfo::FindClass("tstLate"), &late);

    KXObject *made = kxClassInfo::CreateObject("tstTaggedRect");
    ASSERT_NE(made, nullptr);
    EXPECT_TRUE(made->IsMainType(&tstTaggedRect::ms_classInfo));
    EXPECT_FALSE(made->IsMainType(&tstRect::ms_classInfo));
    delete made;
    EXPECT_EQ(tstAbstract::ms_classInfo.CreateObject(), nullptr);
    EXPECT_EQ(kxClassInfo::CreateObject("noSuchClass"), nullptr);

    tstTaggedRect tagged;
    EXPECT_TRUE(tagged.IsKindOf(&tstTagged::ms_classInfo)); // through base 2
    EXPECT_TRUE(tagged.IsKindOf("KXObject"));               // through base 1, depth first
    EXPECT_FALSE(tagged.IsKindOf(&tstEllipse::ms_classInfo));
    EXPECT_FALSE(tagged.IsKindOf(static_cast<const kxClassInfo *>(nullptr)));
    EXPECT_FALSE(tstRect().IsKindOf("tstTagged"));
}
