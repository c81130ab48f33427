// Tests of the project manager and project files: opening (two passes), the information block,
// failures and their messages, closing, file filters, new names, and the save/load/save round
// trip of random trees.
#include "kx/project/kxprojman.h"

#include "kx/project/kxappnotify.h"
#include "kx/project/sfhandler.h"
#include "kxtestnodes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

std::string ReadFile(const std::string &path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

void WriteFile(const std::string &path, const std::string &text)
{
    std::ofstream out(path, std::ios::binary);
    out << text;
}

class ManagerFixture : public ::testing::Test {
protected:
    void SetUp() override
    {
        kxtest::RegisterTestNodes();
        error.reset();
        // Memory-backed when there is such a place: the round trip saves 2,000 files, each
        // flushed to disk.
        std::string pattern =
            std::string(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + "/kxprojmanXXXXXX";
        ASSERT_NE(mkdtemp(&pattern[0]), nullptr);
        dir = pattern;
        manager = new kxProjectManager;
    }
    void TearDown() override
    {
        delete manager;
        SFHandler::setCacheDir("");
        error.reset();
        std::system(("rm -rf " + dir).c_str());
    }
    std::string Path(const char *name) const { return dir + "/" + name; }

    std::string dir;
    kxProjectManager *manager = nullptr;
};

const char *const kInfoBlock = "begin <kxApplicationInfo(1.1)>\n"
                               "  app 1.0 // applicationname applicationversion\n"
                               "  01/02/2020 3:04:05 // savedate(dd/mm/yyyy) savetime(hh:mm:ss)\n"
                               "end\n";

const char *const kForwardProject = "begin <kxProject(1.0)> \"Demo\"\n"
                                    "  begin <testNodeTB(1.0)> \"first\"\n"
                                    "    a = b + 1\n"
                                    "  end\n"
                                    "  // a comment between blocks\n"
                                    "  begin <testNodeTB(1.0)> \"second\"\n"
                                    "    begin <testNodeTB(1.0)> \"inner\"\n"
                                    "      b = 2\n"
                                    "    end\n"
                                    "  end\n"
                                    "end\n";

/// Removes the line that carries the save time.
std::string WithoutDateLine(const std::string &text)
{
    std::istringstream in(text);
    std::string line, out;
    while (std::getline(in, line))
        if (line.find("savedate(dd/mm/yyyy)") == std::string::npos)
            out += line + "\n";
    return out;
}

} // namespace

using KXProjectManagerTest = ManagerFixture;

TEST_F(KXProjectManagerTest, TwoPassOpenResolvesForwardReferences)
{
    for (const bool withInfo : {false, true}) {
        const std::string file = Path(withInfo ? "with.txt" : "without.txt");
        WriteFile(file, std::string(withInfo ? kInfoBlock : "") + kForwardProject);
        kxOutputCapture capture;
        ASSERT_TRUE(manager->ProjectOpen(file.c_str(), withInfo ? "D2" : "")) << error.chars();
        EXPECT_EQ(error, 0);
        auto *project = static_cast<kxProject *>(manager->FindNode(withInfo ? "D2" : "Demo"));
        ASSERT_NE(project, nullptr);
        auto *first = static_cast<kxTestNode *>(project->FindNode("first"));
        ASSERT_NE(first, nullptr);
        ASSERT_EQ(first->values.size(), 1u);
        // "a = b + 1" was evaluated while reading, before "b" was read: the preload made b.
        EXPECT_EQ(first->values[0].real(), 3.0);
        EXPECT_NE(project->FindNode("second/inner"), nullptr);
        EXPECT_TRUE(project->IsNewNode());
        EXPECT_FALSE(project->IsModified());
        EXPECT_EQ(std::string(project->getFilename()), file);
        EXPECT_EQ(manager->FindNodeByFilename(file.c_str()), project);
        EXPECT_NE(capture.Messages().find(file + " loaded successfully\n"), std::string::npos);
    }
    EXPECT_EQ(manager->ProjectCount(), 2);
}

TEST_F(KXProjectManagerTest, OpenFailuresAndTheirMessages)
{
    // Only the information block: no project.
    WriteFile(Path("info.txt"), kInfoBlock);
    EXPECT_FALSE(manager->ProjectOpen(Path("info.txt").c_str()));
    EXPECT_STREQ(error.chars(), "Sorry, the file was not successfully loaded.\n");
    EXPECT_EQ(manager->ProjectCount(), 0);
    error.reset();
    // A registered top block that is not a project.
    WriteFile(Path("node.txt"), "begin <testNodeTB(1.0)> \"n\"\n  x = 1\nend\n");
    EXPECT_FALSE(manager->ProjectOpen(Path("node.txt").c_str()));
    EXPECT_EQ(error, kxErrCode);
    EXPECT_NE(std::string(error.chars()).find("You can only open a node of type kxProject"),
              std::string::npos);
    EXPECT_NE(std::string(error.chars()).find("kxprojman"), std::string::npos);
    EXPECT_EQ(manager->ProjectCount(), 0);
    error.reset();
    // An unknown top block.
    WriteFile(Path("unknown.txt"), "begin <fooTB(2.0)> \"x\"\nend\n");
    EXPECT_FALSE(manager->ProjectOpen(Path("unknown.txt").c_str()));
    EXPECT_STREQ(error.chars(), "Unrecognised project node type: begin <fooTB(2.0)> \"x\"");
    error.reset();
    // A top block without a known version has no signature either.
    WriteFile(Path("nover.txt"), "begin <kxProject(-1.-1)> \"x\"\nend\n");
    EXPECT_FALSE(manager->ProjectOpen(Path("nover.txt").c_str()));
    EXPECT_STREQ(error.chars(), "Unrecognised project node type: begin <kxProject(-1.-1)> \"x\"");
    error.reset();
    // A missing file.
    EXPECT_FALSE(manager->ProjectOpen(Path("missing.txt").c_str()));
    EXPECT_NE(error, 0);
    error.reset();
    // Opening twice under the same name, then under another, then an invalid name.
    WriteFile(Path("demo.txt"), kForwardProject);
    ASSERT_TRUE(manager->ProjectOpen(Path("demo.txt").c_str()));
    EXPECT_FALSE(manager->ProjectOpen(Path("demo.txt").c_str()));
    EXPECT_STREQ(error.chars(), "An object with name Demo already exists.\n");
    error.reset();
    EXPECT_TRUE(manager->ProjectOpen(Path("demo.txt").c_str(), "Other"));
    EXPECT_FALSE(manager->ProjectOpen(Path("demo.txt").c_str(), "a:b"));
    EXPECT_STREQ(error.chars(), "invalid name a:b.\n");
    error.reset();
    // A truncated file: the project block has no end.
    const std::string text = kForwardProject;
    WriteFile(Path("cut.txt"), text.substr(0, text.size() - 20));
    EXPECT_FALSE(manager->ProjectOpen(Path("cut.txt").c_str(), "Cut"));
    EXPECT_NE(std::string(error.chars()).find("Missing \"end\""), std::string::npos)
        << error.chars();
    EXPECT_EQ(manager->FindNode("Cut"), nullptr);
    error.reset();
    // Another major version of the project block is refused; another minor is read.
    WriteFile(Path("v2.txt"), "begin <kxProject(2.0)> \"V\"\nend\n");
    EXPECT_FALSE(manager->ProjectOpen(Path("v2.txt").c_str()));
    EXPECT_STREQ(error.chars(),
                 "Expected version (1.0) in block beginning\r\nbegin <kxProject(2.0)> \"V\"\r\n");
    error.reset();
    WriteFile(Path("v17.txt"), "begin <kxProject(1.7)> \"V\"\nend\n");
    EXPECT_TRUE(manager->ProjectOpen(Path("v17.txt").c_str()));
    ASSERT_TRUE(manager->ProjectClose(static_cast<kxProject *>(manager->FindNode("V"))));
    // With an error pending nothing is opened.
    error.set("pending");
    EXPECT_FALSE(manager->ProjectOpen(Path("demo.txt").c_str(), "Third"));
    EXPECT_EQ(manager->ProjectCount(), 2);
}

TEST_F(KXProjectManagerTest, UnknownChildBlocksSkippedAndStopThePreload)
{
    WriteFile(Path("p.txt"), "begin <kxProject(1.0)> \"P\"\n"
                             "  begin <testNodeTB(1.0)> \"first\"\n"
                             "    a = z * 2\n"
                             "  end\n"
                             "  begin <alienTB(1.0)> \"alien\"\n"
                             "    whatever\n"
                             "  end\n"
                             "  begin <testNodeTB(1.0)> \"later\"\n"
                             "    z = 5\n"
                             "  end\n"
                             "end\n");
    kxOutputCapture capture;
    ASSERT_TRUE(manager->ProjectOpen(Path("p.txt").c_str())) << error.chars();
    kxProjectNode *project = manager->FindNode("P");
    ASSERT_NE(project, nullptr);
    EXPECT_EQ(project->getNodeCount(), 2); // the alien block was skipped
    EXPECT_EQ(project->FindNode("alien"), nullptr);
    auto *later = static_cast<kxTestNode *>(project->FindNode("later"));
    ASSERT_NE(later, nullptr);
    ASSERT_EQ(later->values.size(), 1u);
    // The preload stopped at the alien block, so "z" was never defined.
    EXPECT_TRUE(std::isnan(later->values[0].real()));
    kxNameSpace *ns = project->GetNameSpace();
    EXPECT_NE(ns->FindVariable("a", false), -1);
    EXPECT_EQ(ns->FindVariable("z", false), -1);

    // A child block without a known version (-1.-1) is skipped the same way.
    WriteFile(Path("q.txt"), "begin <kxProject(1.0)> \"Q\"\n"
                             "  begin <testNodeTB(-1.-1)> \"nover\"\n"
                             "    z = 5\n"
                             "  end\n"
                             "  begin <testNodeTB(1.0)> \"known\"\n"
                             "  end\n"
                             "end\n");
    ASSERT_TRUE(manager->ProjectOpen(Path("q.txt").c_str())) << error.chars();
    kxProjectNode *q = manager->FindNode("Q");
    ASSERT_NE(q, nullptr);
    EXPECT_EQ(q->getNodeCount(), 1);
    EXPECT_EQ(q->FindNode("nover"), nullptr);
    EXPECT_EQ(q->GetNameSpace()->FindVariable("z", false), -1);
}

TEST_F(KXProjectManagerTest, BadChildNamesAndSyntaxErrors)
{
    WriteFile(Path("p.txt"), "begin <kxProject(1.0)> \"P\"\n"
                             "  begin <testNodeTB(1.0)> \"a,b\"\n"
                             "  end\n"
                             "  begin <testNodeTB(1.0)> \"twin\"\n"
                             "    x = 1\n"
                             "  end\n"
                             "  begin <testNodeTB(1.0)> \"twin\"\n"
                             "    y = 1\n"
                             "  end\n"
                             "  begin <testNodeTB(1.0)> \"broken\"\n"
                             "    no equals here\n"
                             "  end\n"
                             "end\n");
    kxOutputCapture capture;
    ASSERT_TRUE(manager->ProjectOpen(Path("p.txt").c_str()));
    const std::string messages = capture.Messages();
    EXPECT_NE(messages.find("invalid name a,b\n"), std::string::npos) << messages;
    EXPECT_NE(messages.find("Item with name \"twin\" already exists in P\n"), std::string::npos);
    EXPECT_NE(messages.find(" loaded with 1 syntax errors\n"), std::string::npos) << messages;
    EXPECT_EQ(error, kxErrSyntax);
    EXPECT_STREQ(error.chars(), "Parts of the project could not be loaded due to syntax errors.\n"
                                "See the Warnings window for details.");
    error.reset();
    kxProjectNode *project = manager->FindNode("P");
    ASSERT_NE(project, nullptr);
    EXPECT_EQ(project->getNodeCount(), 2);
    auto *twin = static_cast<kxTestNode *>(project->FindNode("twin"));
    EXPECT_EQ(twin->lines, std::vector<std::string>{"x = 1"}); // the first one is kept
}

TEST_F(KXProjectManagerTest, CloseNotifyAndFilters)
{
    class Listener : public kxAppListener {
    public:
        void OnProjectNotify(int code, kxProjectNode *, const char *file) override
        {
            log += std::to_string(code) + (file ? std::string(":") + file : "") + ";";
        }
        std::string log;
    } listener;
    class Stubborn : public kxProject {
    public:
        bool CanClose() override { return false; }
    };
    WriteFile(Path("demo.txt"), kForwardProject);
    kxSetAppListener(&listener);
    ASSERT_TRUE(manager->ProjectOpen(Path("demo.txt").c_str()));
    auto *stubborn = new Stubborn;
    stubborn->setName("S");
    ASSERT_TRUE(manager->AddNode(stubborn));
    EXPECT_FALSE(manager->ProjectClose(stubborn));
    EXPECT_TRUE(manager->ProjectCloseAll());
    kxSetAppListener(nullptr);
    EXPECT_EQ(listener.log, "10006:" + Path("demo.txt") + ";10007;");
    EXPECT_EQ(manager->ProjectCount(), 1); // the stubborn one stays
    // A child that is not a project ends the walk with a code error.
    auto *odd = new kxTestNode;
    odd->setName("odd");
    manager->RemoveNode(stubborn, true);
    ASSERT_TRUE(manager->AddNode(odd));
    EXPECT_FALSE(manager->ProjectCloseAll());
    EXPECT_NE(
        std::string(error.chars()).find("The child of kxProjectManager should be a kxProject!"),
        std::string::npos);
    error.reset();

    EXPECT_EQ(std::string(manager->getProjectWildcard(false)),
              "|Project files (*.txt)|*.txt|Test node files (*.tnd)|*.tnd|All files (*.*)|*.*");
    EXPECT_EQ(std::string(manager->getProjectWildcard(true)),
              "All application files (*.txt;*.tnd)|*.txt;*.tnd|Project files (*.txt)|*.txt"
              "|Test node files (*.tnd)|*.tnd|All files (*.*)|*.*");
    kxProject project;
    EXPECT_EQ(std::string(project.getWildcard()), "Project files (*.txt)|*.txt");
    EXPECT_EQ(std::string(project.getDefaultExtension()), "txt");

    const KXString first = kxProjectManager::GenerateNewName("Project");
    int n = 0;
    ASSERT_EQ(std::sscanf(first, "Project %d", &n), 1);
    EXPECT_EQ(std::string(kxProjectManager::GenerateNewName("Other")),
              "Other " + std::to_string(n + 1));
}

TEST_F(KXProjectManagerTest, PublishedOpenAndCloseAll)
{
    WriteFile(Path("demo.txt"), kForwardProject);
    List<KXString> args;
    args.append(KXString(Path("demo.txt").c_str()));
    args.append(KXString("Named"));
    KXString result;
    ASSERT_TRUE(manager->getPublishedElt("openproject").Call(args, result)) << error.chars();
    EXPECT_NE(manager->FindNode("Named"), nullptr);
    EXPECT_STREQ(manager->getPublishedElt("openproject").GetHelp(),
                 "( filename[, nodename] ): open the specified project with the specified node "
                 "name");
    // "savetofile" of the project writes a file that opens again.
    kxProjectNode *named = manager->FindNode("Named");
    List<KXString> saveArgs;
    saveArgs.append(KXString(Path("saved.txt").c_str()));
    ASSERT_TRUE(named->getPublishedElt("savetofile").Call(saveArgs, result)) << error.chars();
    ASSERT_TRUE(manager->getPublishedElt("closeall").Call(List<KXString>(), result));
    EXPECT_EQ(manager->ProjectCount(), 0);
    ASSERT_TRUE(manager->ProjectOpen(Path("saved.txt").c_str()));
    EXPECT_NE(manager->FindNode("Named/second/inner"), nullptr);
}

TEST_F(KXProjectManagerTest, StateFilesBesideTheProject)
{
    EXPECT_EQ(std::string(getCacheFileName("/x/model.txt")), "/model_txt.sta");
    SFHandler::setCacheDir(dir.c_str());
    EXPECT_EQ(std::string(getCacheFileName("/x/model.txt")), dir + "/model_txt.sta");
    EXPECT_EQ(std::string(getCacheFileName("model")), dir + "/model_.sta");
    EXPECT_EQ(std::string(getCacheFileName("a.b.txt")), dir + "/a.b_txt.sta");

    kxProject *project = static_cast<kxProject *>(manager->AddSubnode("kxProject", "S"));
    auto *leaf = static_cast<kxTestLeaf *>(project->AddSubnode("testLeafTB", "leaf"));
    leaf->state = "cached result";
    kxOutputCapture capture;
    ASSERT_TRUE(project->SaveToFile(Path("s.txt").c_str()));
    EXPECT_EQ(capture.Messages(), "s.txt saved\n");
    EXPECT_EQ(access(Path("s_txt.sta").c_str(), R_OK), 0);
    ASSERT_TRUE(manager->ProjectClose(project));
    ASSERT_TRUE(manager->ProjectOpen(Path("s.txt").c_str()));
    EXPECT_NE(capture.Messages().find("loading statefile " + dir + "/s_txt.sta ...\n"),
              std::string::npos);
    auto *back = static_cast<kxTestLeaf *>(manager->FindNode("S/leaf"));
    ASSERT_NE(back, nullptr);
    EXPECT_EQ(back->state, "cached result");

    // A state file that cannot be written warns and does not fail the save.
    SFHandler::setCacheDir((dir + "/no/such/dir").c_str());
    auto *again = static_cast<kxProject *>(manager->FindNode("S"));
    EXPECT_TRUE(again->SaveToFile(Path("s.txt").c_str()));
    EXPECT_EQ(capture.Warnings(), "failed to save statefile\n" + dir + "/no/such/dir/s_txt.sta\n");
    EXPECT_EQ(error, 0);
    // Switched off, no state file is read (a missing one is no error either).
    SFHandler::setCacheDir("");
    EXPECT_FALSE(SFHandler::IsEnabled());
}

TEST_F(KXProjectManagerTest, RandomTreesRoundTripByteForByte)
{
    std::mt19937 rng(20261124u);
    auto pick = [&rng](int n) { return static_cast<int>(rng() % static_cast<unsigned>(n)); };
    int variable = 0;
    kxOutputCapture quiet;
    for (int tree = 0; tree < 1000; ++tree) {
        kxProject *project = static_cast<kxProject *>(manager->AddSubnode("kxProject", "R"));
        ASSERT_NE(project, nullptr) << error.chars();
        std::vector<kxProjectNode *> containers{project};
        const int nodes = 1 + pick(200);
        for (int i = 0; i < nodes; ++i) {
            kxProjectNode *parent = containers[static_cast<size_t>(pick(int(containers.size())))];
            const bool leafNode = pick(4) == 0;
            const std::string name = (pick(8) == 0 ? "n." : "n ") + std::to_string(i);
            kxProjectNode *node =
                parent->AddSubnode(leafNode ? "testLeafTB" : "testNodeTB", name.c_str());
            ASSERT_NE(node, nullptr) << error.chars();
            if (leafNode) {
                auto *leaf = static_cast<kxTestLeaf *>(node);
                for (int k = pick(3); k > 0; --k)
                    leaf->lines.push_back("leaf line " + std::to_string(pick(1000)));
                continue;
            }
            auto *test = static_cast<kxTestNode *>(node);
            for (int k = pick(6); k > 0; --k) {
                const int kind = pick(3);
                if (kind == 0)
                    test->lines.push_back("// comment " + std::to_string(pick(100)));
                else if (kind == 1 || variable == 0)
                    test->lines.push_back("v" + std::to_string(variable++) + " = " +
                                          std::to_string(pick(100)) + ".5");
                else { // may name a variable defined later in the file
                    const int named = pick(variable + 5);
                    test->lines.push_back("v" + std::to_string(variable++) + " = v" +
                                          std::to_string(named) + " * 2");
                }
            }
            if (pick(5) == 0)
                test->dataBlocks.push_back("begin <testDataTB(2.1)> \"d\"\n  raw " +
                                           std::to_string(pick(9)) + "\nend\n");
            containers.push_back(node);
        }
        ASSERT_TRUE(project->SaveToFile(Path("a.txt").c_str())) << error.chars();
        ASSERT_TRUE(manager->ProjectClose(project));
        ASSERT_TRUE(manager->ProjectOpen(Path("a.txt").c_str())) << error.chars();
        auto *loaded = static_cast<kxProject *>(manager->FindNode("R"));
        ASSERT_NE(loaded, nullptr);
        ASSERT_TRUE(loaded->SaveToFile(Path("b.txt").c_str()));
        const std::string a = ReadFile(Path("a.txt")), b = ReadFile(Path("b.txt"));
        ASSERT_EQ(WithoutDateLine(a), WithoutDateLine(b)) << "tree " << tree;
        ASSERT_TRUE(manager->ProjectClose(loaded));
    }
}
