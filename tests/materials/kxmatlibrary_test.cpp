// Tests of material libraries in block text: a file with every model reads, evaluates and
// writes back unchanged (comments included), materials survive a write and read, and every
// problem in a file gives its message with the file and line.
#include "kx/expressions/kxnamedvariable.h"
#include "kx/expressions/kxnamespace.h"
#include "kx/foundation/kxtextblock.h"
#include "kx/materials/kxmatbuiltin.h"
#include "kx/materials/kxmatlibrary.h"
#include "kx/materials/kxmatmodels.h"
#include "kxmattesthelp.h"

#include <cstdio>
#include <unistd.h>

namespace {

const char *const kLibrary = R"LIB(// my materials
// (kept when saved)
begin <kxMaterial(1.0)> "glass"
  // a comment line inside the block
  model sellmeier
  source "Malitson, J. Opt. Soc. Am. 55, 1205 (1965); see http:/\/example.org"
  range 0.21 3.71// fitted range
  thermo 293.15 1e-05 0
  A 1
  term 0.6961663 0.0046791
  term 0.4079426 0.013512
  term 0.8974794 97.934
end
// a comment between blocks

begin <kxMaterial(1.0)> "lossy"
  model constant
  n 3.5 0.001
end
begin <kxMaterial(1.0)> "cauchy"
  model cauchy
  coefficients 1.5 0.0042 0.0001
end
begin <kxMaterial(1.0)> "measured"
  model database
  interpolation linear
  begin <kxMaterialTable(1.0)> "nk"
    0.5 1.6 0.01
    1 1.55 0.005// a row comment
    1.5 1.53 0.002
  end
end
begin <kxMaterial(1.0)> "air"
  model database
  formula 6 0.23 1.69 0 0.05792105 238.0185 0.00167917 57.362
end
begin <kxMaterial(1.0)> "typed"
  model formula
  formula "1.45 + w*0.01/lambda**2 + 1e-5*(T - 293.15)"
end
begin <kxMaterial(1.0)> "mix"
  model alloy
  bowing 0.1
  begin <kxMaterial(1.0)> "A"
    model constant
    n 3.2 0
  end
  begin <kxMaterial(1.0)> "B"
    model cauchy
    coefficients 2.9 0.01
  end
end
begin <kxMaterial(1.0)> "osc"
  model oscillator
  range 0 2
  E0 3.65 0.871 0.179
  Ed 36.1 -2.45
  Eg 1.424 1.266 0.26
end
)LIB";

struct Fixture {
    kxNameSpace ns;
    Fixture()
    {
        auto *w = new kxNamedVariable(&ns);
        EXPECT_TRUE(w->SetName("w"));
        w->SetValue(cx(2.0, 0));
    }
};

/// Index values of `m` at a few points, for comparing two materials.
std::vector<cx> Samples(kxMaterial &m)
{
    std::vector<cx> v;
    for (double l : {0.6, 1.0, 1.3})
        for (double T : {250.0, 300.0})
            for (double x : {0.0, 0.4})
                v.push_back(m.IndexUnchecked(l, T, x));
    return v;
}

} // namespace

TEST(kxMaterialLibraryTest, ReadsEveryModelAndWritesTheFileBackUnchanged)
{
    error.reset();
    Fixture f;
    kxMaterialLibrary lib;
    ASSERT_TRUE(lib.ReadText(kLibrary, "my.mat", &f.ns)) << TakeError();
    ASSERT_EQ(lib.Count(), 8);
    EXPECT_EQ(std::string(lib.Get(0)->ModelName()), "sellmeier");
    kxMaterial *glass = lib.Find("glass");
    ASSERT_TRUE(glass);
    EXPECT_EQ(glass->GetSource(),
              KXString("Malitson, J. Opt. Soc. Am. 55, 1205 (1965); see http://example.org"));
    EXPECT_NEAR(glass->Index(1.55).real(), 1.44402, 1e-5);
    EXPECT_EQ(lib.Find("lossy")->Index(1.0), cx(3.5, 0.001));
    EXPECT_NEAR(lib.Find("measured")->Index(0.75).imag(), 0.0075, 1e-15) << "linear";
    EXPECT_NEAR(lib.Find("air")->Index(1.55).real(), 1.00027326, 1e-8);
    EXPECT_NEAR(lib.Find("typed")->Index(1.0, 303.15).real(), 1.45 + 0.02 + 1e-4, 1e-13);
    EXPECT_NEAR(lib.Find("mix")->Index(1.0, 300, 0.5).real(), 0.5 * 3.2 + 0.5 * 2.91 - 0.1 * 0.25,
                1e-14);
    EXPECT_NEAR(lib.Find("osc")->Index(1.55, 300, 0).real(), 3.376944, 2e-6);
    EXPECT_EQ(lib.WriteText(), kLibrary) << "values, layout and comments all kept";

    // A changed material keeps the comments of its block.
    glass->SetSource(KXString("another source"));
    const std::string text = lib.WriteText();
    EXPECT_NE(text.find("  source \"another source\"\n  range 0.21 3.71// fitted range\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("// a comment line inside the block"), std::string::npos);

    // Through a file on disk, and a copy of the library.
    char path[] = "/tmp/kxmatlibXXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    ASSERT_TRUE(lib.WriteFile(path)) << TakeError();
    kxMaterialLibrary again;
    ASSERT_TRUE(again.ReadFile(path, &f.ns)) << TakeError();
    std::remove(path);
    kxMaterialLibrary copy(again);
    EXPECT_EQ(copy.WriteText(), text);
    for (int i = 0; i < lib.Count(); ++i)
        EXPECT_EQ(Samples(*copy.Get(i)), Samples(*lib.Get(i))) << lib.Get(i)->GetName().c_str();
}

TEST(kxMaterialLibraryTest, MaterialsSurviveWriteAndRead)
{
    error.reset();
    kxMaterialLibrary lib;
    for (const std::string &name : kxBuiltinMaterialNames())
        ASSERT_TRUE(lib.Add(kxNewBuiltinMaterial(name.c_str())));
    auto *table = new kxDatabaseMaterial();
    table->SetName(KXString("split"));
    ASSERT_TRUE(table->SetNTable({0.5, 0.9, 1.7}, {1.7, 1.65, 1.6}));
    ASSERT_TRUE(table->SetKTable({0.6, 1.1}, {1e-3, 1e-4}));
    ASSERT_TRUE(lib.Add(table));
    // Names are unique.
    EXPECT_FALSE(lib.Add(kxNewBuiltinMaterial("Si")));
    EXPECT_EQ(error, kxErrNameClash);
    EXPECT_EQ(TakeError(), "a material named \"Si\" is already in the library\n");

    const std::string text = lib.WriteText();
    kxMaterialLibrary again;
    ASSERT_TRUE(again.ReadText(text, "lib.mat", nullptr)) << TakeError();
    ASSERT_EQ(again.Count(), lib.Count());
    for (int i = 0; i < lib.Count(); ++i) {
        kxMaterial &a = *lib.Get(i), &b = *again.Get(i);
        EXPECT_EQ(a.GetName(), b.GetName());
        EXPECT_EQ(a.GetSource(), b.GetSource());
        EXPECT_EQ(Samples(a), Samples(b)) << a.GetName().c_str();
        double lo1, hi1, lo2, hi2;
        a.Range(0.3, lo1, hi1);
        b.Range(0.3, lo2, hi2);
        EXPECT_EQ(lo1, lo2);
        EXPECT_EQ(hi1, hi2);
        EXPECT_EQ(a.GetDnDT(), b.GetDnDT());
    }
    EXPECT_EQ(again.WriteText(), text);

    lib.Replace(kxNewBuiltinMaterial("Air"));
    EXPECT_EQ(lib.Count(), again.Count());
    EXPECT_TRUE(lib.Remove("Air"));
    EXPECT_FALSE(lib.Remove("Air"));
    EXPECT_FALSE(lib.Find("Air"));
}

TEST(kxMaterialLibraryTest, EveryProblemNamesFileAndLine)
{
    error.reset();
    const char *head = "begin <kxMaterial(1.0)> \"m\"\n";
    struct Case {
        std::string text;
        const char *message;
    } cases[] = {
        {"junk\n", "f.mat:1: expected a material block \"begin <kxMaterial(1.0)> \"name\"\"\n"},
        {std::string(head) + "  model constant\n",
         "f.mat:1: Missing \"end\" in block beginning begin <kxMaterial(1.0)> \"m\"\n"},
        {"begin <Other(1.0)> \"m\"\nend\n", "f.mat:1: expected \"begin <kxMaterial(1.0)>\"\n"},
        {std::string(head) + "  n 1\nend\n",
         "f.mat:2: a material block must start with \"model <kind>\"\n"},
        {std::string(head) + "  model glassy\nend\n",
         "f.mat:2: unknown material model \"glassy\"\n"},
        {std::string(head) + "  model constant\n  colour red\nend\n",
         "f.mat:3: unknown keyword \"colour\" for a constant material\n"},
        {std::string(head) + "  model constant\n  n abc\nend\n",
         "f.mat:3: \"abc\" is not a finite number\n"},
        {std::string(head) + "  model constant\n  n 1 2 3\nend\n",
         "f.mat:3: \"n\" takes the real part and optionally the imaginary part\n"},
        {std::string(head) + "  model constant\n\n  // c\n  range 2 1\nend\n",
         "f.mat:5: the range must be 0 <= lo < hi\n"},
        {std::string(head) + "  model constant\n  range 1\nend\n",
         "f.mat:3: \"range\" takes 2 values\n"},
        {std::string(head) + "  model constant\n  thermo 0 1e-4\nend\n",
         "f.mat:3: the reference temperature must be positive\n"},
        {std::string(head) + "  model constant\n  source \"open\nend\n",
         "f.mat:3: a quoted text has no closing quote\n"},
        {std::string(head) + "  model sellmeier\n  A 1\nend\n",
         "f.mat:1: a Sellmeier material needs at least one \"term\"\n"},
        {std::string(head) + "  model sellmeier\n  term 1 nan\nend\n",
         "f.mat:3: \"nan\" is not a finite number\n"},
        {std::string(head) + "  model cauchy\nend\n",
         "f.mat:1: a Cauchy material needs \"coefficients\"\n"},
        {std::string(head) + "  model formula\n  formula \"1 + (lambda\"\nend\n",
         "f.mat:3: material \"m\": the formula \"1 + (lambda\" is malformed: missing bracket\n"},
        {std::string(head) + "  model formula\n  formula \"1 + q\"\nend\n",
         "f.mat:3: material \"m\": the formula uses \"q\", which is neither lambda, T, x nor a "
         "variable of the project\n"},
        {std::string(head) + "  model database\n  formula 12 0.4 2 1\nend\n",
         "f.mat:3: the formula type must be 1 to 9\n"},
        {std::string(head) + "  model database\n  formula 1 0.4 2 1 2\nend\n",
         "f.mat:3: this formula takes C1 and pairs of coefficients\n"},
        {std::string(head) + "  model database\n  interpolation cubic\nend\n",
         "f.mat:3: the interpolation must be \"spline\" or \"linear\"\n"},
        {std::string(head) + "  model database\nend\n",
         "f.mat:1: a database material needs a formula or a table for n\n"},
        {std::string(head) +
             "  model database\n  begin <kxMaterialTable(1.0)> \"nk\"\n    0.5 1.5\n"
             "  end\nend\n",
         "f.mat:4: a row of table \"nk\" holds 3 numbers\n"},
        {std::string(head) + "  model database\n  begin <kxMaterialTable(1.0)> \"n\"\n    0.5 1.5\n"
                             "    0.5 1.4\n  end\nend\n",
         "f.mat:5: the wavelengths of a table must increase\n"},
        {std::string(head) + "  model database\n  begin <kxMaterialTable(1.0)> \"n\"\n    0.5 1.5\n"
                             "  end\nend\n",
         "f.mat:3: table \"n\" needs at least 2 rows\n"},
        {std::string(head) + "  model database\n  begin <kxMaterialTable(1.0)> \"q\"\n  end\nend\n",
         "f.mat:3: a table must be named \"n\", \"k\" or \"nk\"\n"},
        {std::string(head) + "  model constant\n  begin <kxMaterialTable(1.0)> \"n\"\n  end\nend\n",
         "f.mat:3: a constant material holds no nested block\n"},
        {std::string(head) + "  model alloy\n  begin <kxMaterial(1.0)> \"A\"\n    model constant\n"
                             "  end\nend\n",
         "f.mat:1: an alloy needs end members \"A\" and \"B\"\n"},
        {std::string(head) + "  model alloy\n  begin <kxMaterial(1.0)> \"A\"\n    model constant\n"
                             "    n x\n  end\nend\n",
         "f.mat:5: \"x\" is not a finite number\n"},
        {std::string(head) + "  model oscillator\n  E0 3\n  Ed 30\nend\n",
         "f.mat:1: an oscillator material needs \"E0\", \"Ed\" and \"Eg\"\n"},
        {"begin <kxMaterial(1.0)> \"open name\n  model constant\nend\n",
         "f.mat:1: the name of a material must end on its header line\n"},
        {std::string(head) + "  model constant\nend\n// c\n" + head + "  model constant\nend\n",
         "f.mat:5: material \"m\" is defined twice\n"},
    };
    for (const Case &c : cases) {
        kxMaterialLibrary lib;
        ASSERT_TRUE(lib.Add(new kxConstantMaterial()));
        EXPECT_FALSE(lib.ReadText(c.text, "f.mat", nullptr)) << c.text;
        EXPECT_EQ(TakeError(), c.message) << c.text;
        EXPECT_EQ(lib.Count(), 1) << "a failed read leaves the library alone";
    }
    // Alloys of alloys nest up to a limit.
    auto nested = [](int levels) {
        std::string text;
        for (int i = 0; i < levels; ++i)
            text += std::string(i * 2, ' ') + "begin <kxMaterial(1.0)> \"" + (i ? "A" : "m") +
                    "\"\n" + std::string(i * 2 + 2, ' ') + "model alloy\n";
        text += std::string(levels * 2, ' ') + "begin <kxMaterial(1.0)> \"A\"\n";
        text += std::string(levels * 2 + 2, ' ') + "model constant\n";
        text += std::string(levels * 2, ' ') + "end\n";
        for (int i = levels - 1; i >= 0; --i) {
            const std::string pad(i * 2 + 2, ' ');
            text += pad + "begin <kxMaterial(1.0)> \"B\"\n" + pad + "  model constant\n" + pad +
                    "end\n" + std::string(i * 2, ' ') + "end\n";
        }
        return text;
    };
    kxMaterialLibrary deep;
    EXPECT_TRUE(deep.ReadText(nested(kxMaterialMaxNesting - 1), "deep.mat", nullptr))
        << TakeError();
    EXPECT_FALSE(deep.ReadText(nested(kxMaterialMaxNesting), "deep.mat", nullptr));
    EXPECT_EQ(TakeError(), "deep.mat:" + std::to_string(2 * kxMaterialMaxNesting + 1) +
                               ": materials nest more than 32 deep\n");

    // A file that cannot be read.
    kxMaterialLibrary lib;
    EXPECT_FALSE(lib.ReadFile("/nonexistent/dir/x.mat", nullptr));
    EXPECT_NE(TakeError().find("Failed to open file"), std::string::npos);
}
