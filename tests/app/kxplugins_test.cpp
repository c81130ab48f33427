// Tests of plug-in loading: the directory (missing, empty, from KX_PLUGIN_DIR or beside the
// program), files that are not plug-ins, a failing plug-in next to one that loads (messages,
// summary error, unloading), and kxAppBase making the plug-ins' node types readable.
#include "kx/app/kxplugins.h"

#include "kx/app/kxappBase.h"
#include "kx/foundation/kxerror.h"
#include "kx/foundation/kxstring.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <dlfcn.h>
#include <fstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::string g_warnings;

void Hook(int channel, const char *line)
{
    if (channel == kxWarningChannel)
        g_warnings += line;
}

class KXPluginsTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        error.reset();
        g_warnings.clear();
        InitialiseKXUtils("test", KXString("kxtest"), 1, nullptr, nullptr, nullptr, Hook, nullptr);
        char pattern[] = "/tmp/kxpluginsXXXXXX";
        ASSERT_NE(mkdtemp(pattern), nullptr);
        dir = pattern;
    }
    void TearDown() override
    {
        InitialiseKXUtils("test", KXString("kxtest"), 1, nullptr, nullptr, nullptr, nullptr,
                          nullptr);
        unsetenv("KX_PLUGIN_DIR");
        error.reset();
        std::system(("rm -rf " + dir).c_str());
    }
    void Install(const char *plugin)
    {
        const std::string from = std::string(KX_TEST_PLUGIN_DIR) + "/" + plugin;
        std::system(("cp " + from + " " + dir + "/").c_str());
    }
    std::string dir;
    std::vector<PluginInfo> loaded;
};

bool IsLoaded(const std::string &path)
{
    void *handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle)
        dlclose(handle);
    return handle != nullptr;
}

} // namespace

TEST_F(KXPluginsTest, MissingAndEmptyDirectories)
{
    const std::string missing = dir + "/nowhere";
    EXPECT_FALSE(kxLoadPluginsFrom(missing.c_str(), nullptr, nullptr, loaded));
    EXPECT_EQ(g_warnings, "plugin dir \"" + missing + "\" does not exist\n");
    EXPECT_FALSE(error);
    g_warnings.clear();

    EXPECT_TRUE(kxLoadPluginsFrom(dir.c_str(), nullptr, nullptr, loaded));
    EXPECT_TRUE(loaded.empty());
    EXPECT_EQ(g_warnings, "");
    EXPECT_FALSE(error);
}

TEST_F(KXPluginsTest, FilesThatAreNotPluginsAreSkipped)
{
    std::ofstream(dir + "/notes.plugin") << "just text\n";
    std::ofstream(dir + "/other.so") << "ignored: wrong suffix\n";
    mkdir((dir + "/folder.plugin").c_str(), 0700);
    Install("plain.plugin");
    EXPECT_TRUE(kxLoadPluginsFrom(dir.c_str(), nullptr, nullptr, loaded));
    EXPECT_TRUE(loaded.empty());
    EXPECT_FALSE(error);
    EXPECT_NE(g_warnings.find("\"notes.plugin\" is not a plugin! Ignoring...\n"),
              std::string::npos);
    EXPECT_NE(g_warnings.find("\"plain.plugin\" is not a plugin! Ignoring...\n"),
              std::string::npos);
    EXPECT_EQ(g_warnings.find("other.so"), std::string::npos);
    EXPECT_EQ(g_warnings.find("folder"), std::string::npos);
    EXPECT_FALSE(IsLoaded(dir + "/plain.plugin"));
}

TEST_F(KXPluginsTest, AFailingPluginIsUnloadedAndTheGoodOneKept)
{
    Install("good.plugin");
    Install("failing.plugin");
    const char *const arguments[] = {"one", "two", nullptr};
    std::string seen;
    EXPECT_TRUE(kxLoadPluginsFrom(dir.c_str(), arguments, &seen, loaded));
    ASSERT_EQ(loaded.size(), 1u);
    EXPECT_EQ(loaded[0].name, "good");
    EXPECT_EQ(loaded[0].description, "a plug-in that loads");
    EXPECT_EQ(seen, "one;two;");
    EXPECT_EQ(int(error), int(kxErrPlugin));
    EXPECT_STREQ(error.chars(), "a plugin failed to load - see Warnings");
    EXPECT_NE(g_warnings.find("plugin \"failing.plugin\" load failed:\n  no licence found\n"),
              std::string::npos)
        << g_warnings;
    EXPECT_NE(g_warnings.find("loaded plugin \"good.plugin\"\n"), std::string::npos);
    EXPECT_EQ(g_warnings.find("licence check"), std::string::npos);
    EXPECT_TRUE(IsLoaded(dir + "/good.plugin"));
    EXPECT_FALSE(IsLoaded(dir + "/failing.plugin"));
}

TEST_F(KXPluginsTest, TheApplicationLoadsFromItsDirectoryAndRegistersTheTypes)
{
    const std::string beside = kxPluginDirectory();
    char program[4096] = {};
    ASSERT_GT(readlink("/proc/self/exe", program, sizeof program - 1), 0);
    std::string programDir(program);
    programDir.resize(programDir.rfind('/'));
    EXPECT_EQ(beside, programDir + "/../lib/kxcore/plugin");

    Install("good.plugin");
    setenv("KX_PLUGIN_DIR", dir.c_str(), 1);
    EXPECT_EQ(kxPluginDirectory(), dir);
    kxAppBase app;
    EXPECT_TRUE(app.LoadPlugins());
    EXPECT_FALSE(error) << error.chars();
    ASSERT_EQ(app.getPlugins().size(), 1u);
    std::unique_ptr<kxProjectNode> node(
        app.getProjectManager()->CreateNodeForTextBlock(TBlockSig{"goodTB", 1, 0}));
    ASSERT_NE(node, nullptr);
    EXPECT_STREQ(node->getClassName(), "kxGoodPluginNode");
}
