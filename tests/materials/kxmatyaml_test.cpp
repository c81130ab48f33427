// Tests of the database YAML files and plain n,k tables: reading, the round trip through the
// writer, and the message (file and line) for every problem.
#include "kx/materials/kxmatyaml.h"
#include "kxmattesthelp.h"

#include <cstdio>
#include <memory>
#include <unistd.h>

namespace {

const char *const kSilica = R"YML(# fused silica with a made-up absorption tail
REFERENCES: "I. H. Malitson. Interspecimen comparison of the refractive index of fused silica, J. Opt. Soc. Am. 55, 1205-1209 (1965)"
COMMENTS: "Room temperature"
DATA:
  - type: formula 1
    wavelength_range: 0.21 6.7
    coefficients: 0 0.6961663 0.0684043 0.4079426 0.1162414 0.8974794 9.896161
  - type: tabulated k
    data: |
        0.5 1e-7
        1.0 2e-7
        1.6 5e-7
SPECS:
  temperature: 20.0
)YML";

std::unique_ptr<kxDatabaseMaterial> Parse(const std::string &text, const char *file = "f.yml")
{
    return std::unique_ptr<kxDatabaseMaterial>(kxParseDatabaseYAML(text, file));
}

std::vector<cx> Samples(kxMaterial &m)
{
    std::vector<cx> v;
    for (double l : {0.55, 0.8, 1.0, 1.3, 1.55})
        v.push_back(m.IndexUnchecked(l, 300, 0));
    return v;
}

} // namespace

TEST(kxMaterialYAMLTest, ReadsFormulaWithTabulatedK)
{
    error.reset();
    auto m = Parse(kSilica, "/data/glass/SiO2.yml");
    ASSERT_TRUE(m) << TakeError();
    EXPECT_EQ(m->GetName(), KXString("SiO2"));
    EXPECT_NE(std::string(m->GetSource().c_str()).find("Malitson"), std::string::npos);
    EXPECT_EQ(m->GetComments(), KXString("Room temperature"));
    EXPECT_EQ(m->FormulaType(), 1);
    EXPECT_NEAR(m->Index(1.55).real(), 1.4440, 5e-5);
    EXPECT_NEAR(m->Index(1.0).imag(), 2e-7, 1e-20) << "the spline passes through the rows";
    double lo, hi;
    m->Range(0, lo, hi);
    EXPECT_EQ(lo, 0.5) << "the overlap of formula and table";
    EXPECT_EQ(hi, 1.6);
}

TEST(kxMaterialYAMLTest, RoundTripThroughTheWriter)
{
    error.reset();
    auto m = Parse(kSilica);
    ASSERT_TRUE(m);
    const std::string text = kxDatabaseYAMLText(*m);
    auto again = Parse(text);
    ASSERT_TRUE(again) << TakeError() << text;
    EXPECT_EQ(Samples(*again), Samples(*m));
    EXPECT_EQ(again->GetSource(), m->GetSource());
    EXPECT_EQ(again->GetComments(), m->GetComments());
    EXPECT_EQ(kxDatabaseYAMLText(*again), text);

    // Tables of n and k on one grid come back as "tabulated nk"; the older "range" key and
    // coefficients given as a list are read too.
    const char *nk = "DATA:\n  - type: tabulated nk\n    data: |\n      0.4 1.7 0.01\n"
                     "      0.9 1.6 0.001\n      1.5 1.55 0.0001\n      2.0 1.54 0\n";
    auto t = Parse(nk, "nk.yml");
    ASSERT_TRUE(t) << TakeError();
    const std::string tText = kxDatabaseYAMLText(*t);
    EXPECT_NE(tText.find("tabulated nk"), std::string::npos) << tText;
    auto t2 = Parse(tText);
    ASSERT_TRUE(t2) << TakeError();
    EXPECT_EQ(Samples(*t2), Samples(*t));
    auto old = Parse("DATA:\n  - type: formula 2\n    range: [0.4, 5]\n"
                     "    coefficients: [0, 2.6734, 0.01764, 1.2290, 0.05914, 12.614, 474.6]\n");
    ASSERT_TRUE(old) << TakeError();
    EXPECT_NEAR(old->Index(1.55).real(), 2.211111, 2e-6);

    // Through a file.
    char path[] = "/tmp/kxmatyamlXXXXXX";
    const int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    close(fd);
    ASSERT_TRUE(kxWriteDatabaseYAML(*m, path)) << TakeError();
    std::unique_ptr<kxDatabaseMaterial> fromFile(kxReadDatabaseYAML(path));
    std::remove(path);
    ASSERT_TRUE(fromFile) << TakeError();
    EXPECT_EQ(Samples(*fromFile), Samples(*m));
    EXPECT_FALSE(kxReadDatabaseYAML("/nonexistent/x.yml"));
    EXPECT_NE(TakeError().find("Failed to open file"), std::string::npos);
}

TEST(kxMaterialYAMLTest, EveryProblemNamesFileAndLine)
{
    error.reset();
    const std::string formula = "DATA:\n  - type: formula 1\n    wavelength_range: 0.3 2\n";
    const std::string table = "DATA:\n  - type: tabulated n\n    data: |\n";
    struct Case {
        std::string text;
        const char *message;
    } cases[] = {
        {"- 1\n- 2\n", "f.yml:1: a database file is a map with \"DATA\"\n"},
        {"", "f.yml:1: a database file is a map with \"DATA\"\n"},
        {"REFERENCES: x\n", "f.yml:1: \"DATA\" must be a list of entries\n"},
        {"DATA: 5\n", "f.yml:1: \"DATA\" must be a list of entries\n"},
        {"DATA:\n  - 5\n", "f.yml:2: each entry of \"DATA\" must be a map\n"},
        {"DATA:\n  - data: 1\n", "f.yml:2: an entry of \"DATA\" has no \"type\"\n"},
        {"DATA:\n  - type: formula 12\n", "f.yml:2: unknown type \"formula 12\"\n"},
        {"DATA:\n  - type: tabulated x\n", "f.yml:2: unknown type \"tabulated x\"\n"},
        {"DATA:\n  - type: formula 1\n", "f.yml:2: formula 1 has no \"coefficients\"\n"},
        {formula + "    coefficients: 0 1 abc\n",
         "f.yml:4: \"abc\" in the coefficients is not a finite number\n"},
        {formula + "    coefficients: 0 1\n",
         "f.yml:4: this formula takes C1 and pairs of coefficients\n"},
        {"DATA:\n  - type: formula 1\n    coefficients: 0 1 0.1\n",
         "f.yml:2: formula 1 has no \"wavelength_range\"\n"},
        {"DATA:\n  - type: formula 1\n    coefficients: 0 1 0.1\n    wavelength_range: 2 1\n",
         "f.yml:4: the wavelength range must be two numbers lo < hi\n"},
        {"DATA:\n  - type: tabulated n\n", "f.yml:2: \"tabulated n\" has no \"data\"\n"},
        {table + "      0.5 1.5\n      0.6 x\n", "f.yml:5: \"x\" is not a finite number\n"},
        {table + "      0.5 1.5\n      0.6 1.4 0.1\n", "f.yml:5: a row holds 2 numbers, not 3\n"},
        {table + "      0.5 1.5\n      0.5 1.4\n", "f.yml:5: the wavelengths must increase\n"},
        {table + "      -0.5 1.5\n", "f.yml:4: the wavelength must be positive\n"},
        {table + "      0.5 1.5\n", "f.yml:4: a table needs at least 2 rows\n"},
        {"DATA:\n  - type: tabulated k\n    data: |\n      0.5 0\n      0.6 0\n",
         "f.yml:2: the file gives no n (a formula or a table of n)\n"},
        {formula + "    coefficients: 0 1 0.1\n  - type: tabulated n\n    data: \"0.5 1.5\"\n",
         "f.yml:5: n is given twice\n"},
    };
    for (const Case &c : cases) {
        EXPECT_FALSE(Parse(c.text)) << c.text;
        EXPECT_EQ(error, kxErrGeneric);
        EXPECT_EQ(TakeError(), c.message) << c.text;
    }
    // Malformed YAML: the YAML library's message, with the line it gives.
    EXPECT_FALSE(Parse("DATA:\n  - type: formula 1\n    coefficients: [0, 1\n"));
    const std::string why = TakeError();
    EXPECT_EQ(why, "f.yml:4: end of sequence flow not found\n");
}

TEST(kxMaterialYAMLTest, PlainTables)
{
    error.reset();
    const char *two =
        "# measured\nwavelength n\n0.5 1.60\n\n0.7 1.58\n// note\n0.9 1.57\n1.1 1.565\n";
    std::unique_ptr<kxDatabaseMaterial> m(kxParseTableText(two, "/x/film.txt"));
    ASSERT_TRUE(m) << TakeError();
    EXPECT_EQ(m->GetName(), KXString("film"));
    EXPECT_EQ(m->NTable().Count(), 4);
    EXPECT_TRUE(m->KTable().Empty());
    EXPECT_DOUBLE_EQ(m->Index(0.7).real(), 1.58);
    std::unique_ptr<kxDatabaseMaterial> lin(
        kxParseTableText("0.5,1.6,0.01\n0.7;1.58;0.02\n", "t.csv", kxMaterialTable::Linear));
    ASSERT_TRUE(lin) << TakeError();
    EXPECT_NEAR(lin->Index(0.6).real(), 1.59, 1e-15);
    EXPECT_NEAR(lin->Index(0.6).imag(), 0.015, 1e-15);

    struct Case {
        const char *text;
        const char *message;
    } cases[] = {
        {"0.5 1.6\n0.7 1.5 0.1\n", "t.txt:2: a row holds 2 numbers, not 3\n"},
        {"0.5 1.6 0.1 7\n", "t.txt:1: a row holds 2 or 3 numbers (lambda, n [, k])\n"},
        {"0.5 1.6\nfoo bar\n", "t.txt:2: \"foo\" is not a finite number\n"},
        {"0.5 1.6\n0.4 1.7\n", "t.txt:2: the wavelengths must increase\n"},
        {"0.5 1.6\n", "t.txt:1: a table needs at least 2 rows\n"},
        {"", "t.txt:1: a table needs at least 2 rows\n"},
        {"0 1.6\n0.5 1.5\n", "t.txt:1: the wavelength must be positive\n"},
        {"0.5 1.6\n0.6 inf\n", "t.txt:2: \"inf\" is not a finite number\n"},
    };
    for (const Case &c : cases) {
        EXPECT_FALSE(kxParseTableText(c.text, "t.txt")) << c.text;
        EXPECT_EQ(TakeError(), c.message) << c.text;
    }
    EXPECT_FALSE(kxReadTableFile("/nonexistent/t.txt"));
    EXPECT_NE(TakeError().find("Failed to open file"), std::string::npos);
}
