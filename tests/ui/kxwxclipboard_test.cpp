// Tests of the system clipboard through the toolkit.
#include "kx/ui/kxwxclipboard.h"

#include <gtest/gtest.h>

#include <wx/clipbrd.h>

#include "kx/project/kxprojman.h"
#include "kx/project/kxprojnode.h"

TEST(kxWxClipboardTest, TextAndNodeReferencesGoThroughTheToolkit)
{
    kxWxClipboard clipboard;
    ASSERT_TRUE(clipboard.SetText("plain text ä"));
    KXString text;
    ASSERT_TRUE(clipboard.GetText(text));
    EXPECT_STREQ(text.c_str(), "plain text ä");
    {
        // What another program put there is read back too.
        wxClipboardLocker lock;
        ASSERT_TRUE(!!lock);
        wxTheClipboard->SetData(new wxTextDataObject("from elsewhere"));
    }
    ASSERT_TRUE(clipboard.GetText(text));
    EXPECT_STREQ(text.c_str(), "from elsewhere");

    kxSetClipboard(&clipboard);
    kxProjectManager manager;
    kxProjectNode *project = manager.AddSubnode("kxProject", "P");
    ASSERT_NE(project, nullptr);
    kxProjectNode *notes = project->AddSubnode("notesTB", "n");
    ASSERT_NE(notes, nullptr);
    EXPECT_TRUE(kxCopyPrjNodeRefToClipboard(notes));
    {
        wxClipboardLocker lock;
        wxTextDataObject data;
        ASSERT_TRUE(wxTheClipboard->GetData(data));
        EXPECT_EQ(data.GetText(), "kxnoderef:/P/n");
    }
    EXPECT_EQ(kxGetPrjNodeRefFromClipboard(&manager), notes);
    clipboard.SetText("not a reference");
    EXPECT_EQ(kxGetPrjNodeRefFromClipboard(&manager), nullptr);
    clipboard.Clear();
    kxSetClipboard(nullptr);
}
