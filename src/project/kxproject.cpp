// kxproject.cpp - projects: saving to and loading from project files.
#define KX_UNIT "kxproject"

#include "kx/project/kxproject.h"

#include "kx/expressions/kxnamespace.h"
#include "kx/project/kxnoderegistry.h"
#include "kx/project/kxprojman.h"
#include "kx/project/kxrunsignal.h"
#include "kx/project/sfhandler.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

KX_IMPLEMENT_CLASS(kxProject, kxProjectNode)

namespace {

KXString &AppName()
{
    static KXString name("kxCore");
    return name;
}

KXString &AppVersion()
{
    static KXString version("33.0");
    return version;
}

const char *BaseName(const char *path)
{
    const char *slash = std::strrchr(path, '/');
    return slash ? slash + 1 : path;
}

/// The operating system's major and minor version, from uname's release ("6.1.0-...").
bool SystemVersion(int &major, int &minor)
{
    struct utsname names;
    return uname(&names) == 0 && std::sscanf(names.release, "%d.%d", &major, &minor) == 2;
}

double PhysicalMemoryMB()
{
    const long pages = sysconf(_SC_PHYS_PAGES);
    const long pageSize = sysconf(_SC_PAGESIZE);
    if (pages <= 0 || pageSize <= 0)
        return 0.0;
    return static_cast<double>(pages) * static_cast<double>(pageSize) / 1024.0 / 1024.0;
}

} // namespace

void kxSetApplicationInfo(const char *name, const char *version)
{
    AppName() = name ? name : "";
    AppVersion() = version ? version : "";
}

const KXString &kxGetApplicationName() { return AppName(); }

const KXString &kxGetApplicationVersion() { return AppVersion(); }

kxProject::kxProject() { setOwnNameSpace(new kxNameSpace); }

void kxProject::WriteInfoBlock(TextBlock &block) const
{
    block.StartWrite(TBlockSig{kxAppInfoBlockType, 1, 1}, "");
    block.writeline("%s %s // applicationname applicationversion", AppName().c_str(),
                    AppVersion().c_str());
    int major = 0, minor = 0;
    if (SystemVersion(major, minor))
        block.writeline("%d.%d (%d bit) %.2f // windowsversion RAM_in_MB ", major, minor, 64,
                        PhysicalMemoryMB());
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    block.writeline("%.2d/%.2d/%.4d %d:%.2d:%.2d // savedate(dd/mm/yyyy) savetime(hh:mm:ss)",
                    local.tm_mday, local.tm_mon + 1, local.tm_year + 1900, local.tm_hour,
                    local.tm_min, local.tm_sec);
    block.EndWrite();
}

bool kxProject::SaveToFile(const char *filename)
{
    RunSignal run(true);
    kxBusyCursor busy;
    // With an error already pending the project would not be written: never replace a file by
    // an information block alone.
    if (error || !filename)
        return false;
    // The project writes itself straight after the information block, in the same storage:
    // the file's text is built once and written in one piece.
    TextBlock out;
    // Room for the whole text at once, guessed from the last save or else the project's file.
    size_t expected = lastSaveBytes_;
    struct stat st;
    if (expected == 0 && !filename_.Empty() && stat(filename_.c_str(), &st) == 0 &&
        S_ISREG(st.st_mode))
        expected = size_t(st.st_size);
    (void)out.ReserveText(expected + expected / 16); // a hint: the text grows anyway
    WriteInfoBlock(out);
    TextBlock body;
    out.LendTo(body);
    const bool written = WriteTB(body);
    out.TakeBack(body, written);
    if (!written)
        return false;
    lastSaveBytes_ = out.getLen();
    if (!out.SaveFile(filename) || error)
        return false;
    wlprintf("%s saved\n", BaseName(filename));
    setFilename(filename);
    if (IsRootProject())
        modified_ = false;
    if (SFHandler::IsEnabled())
        SaveStateFile(filename);
    return true;
}

void kxProject::SaveStateFile(const char *filename)
{
    const KXString path = getCacheFileName(filename);
    FILE *file = std::fopen(path.c_str(), "wb");
    if (!file) {
        kxWarningLog("failed to save statefile\n%s\n", path.c_str());
        return;
    }
    StoreSFiles(file);
    std::fclose(file);
}

void kxProject::LoadStateFile(const char *filename)
{
    const KXString path = getCacheFileName(filename);
    FILE *file = std::fopen(path.c_str(), "rb");
    if (!file)
        return;
    wlprintf("loading statefile %s ...\n", path.c_str());
    ExtractSFiles(file);
    std::fclose(file);
}

bool kxProject::LoadFromFile(const char *filename)
{
    RunSignal run(true);
    kxBusyCursor busy;
    if (!filename)
        return false;
    FBuff buffer;
    if (!buffer.LoadFile(filename))
        return false;
    setFilename(filename);
    TextBlock block;
    if (!kxLoadIntoBlock(block, buffer))
        return false;
    return ReadFileBlock(filename, block);
}

bool kxProject::ReadFileBlock(const char *filename, TextBlock &block)
{
    RunSignal run(true);
    ResetSyntaxErrFlag();
    bool ok = PreloadVariables(block);
    // A syntax report of the preload is kept aside, so that the real read starts clean.
    KXString preloadReport;
    if (ok && error == kxErrSyntax) {
        preloadReport = error.chars();
        error.reset();
    }
    RunSignal::Spin();
    ok = ok && ReadTB(block);
    if (!ok) {
        kxWarningLog("%s failed to load\n", filename);
        return false;
    }
    if (!error && !preloadReport.Empty())
        error.Raise(kxErrSyntax, "%s", preloadReport.c_str());
    if (GetSyntaxErrFlag()) {
        wlprintf("%s loaded with %d syntax errors\n", filename, GetSyntaxErrCount());
        error.SetCode(kxErrSyntax);
    } else {
        wlprintf("%s loaded successfully\n", filename);
    }
    if (IsRootProject())
        modified_ = false;
    if (SFHandler::IsEnabled())
        LoadStateFile(filename);
    return true;
}

KXString kxProject::getWildcard() const
{
    const kxMetaData *entry = getMetaData();
    if (!entry || entry->getSuffix().Empty())
        return "All files (*.*)|*.*";
    const KXString &suffix = entry->getSuffix();
    return entry->getDisplayName() + " files (*." + suffix + ")|*." + suffix;
}

void kxProject::OnPublish()
{
    kxProjectNode::OnPublish();
    PublishVar("filename", filename_, "project file name (used by save)");
    const KXObjectEvent *top = GetTopEvent();
    if (!top || top->kind != kxOpCommand)
        return;
    PublishFunc(
        "close",
        [this](const List<KXString> &, KXString &) {
            kxProjectManager *manager = kxProjectManager::GetCurrent();
            return manager && getParent() == manager && manager->ProjectClose(this);
        },
        "(): close the project");
    PublishFunc(
        "savetofile",
        [this](const List<KXString> &args, KXString &) {
            if (args.size() < 1) {
                error.set("savetofile: 1 argument(s) expected\n");
                return false;
            }
            return SaveToFile(args[1]);
        },
        "(filename): save the project to the specified file");
}
