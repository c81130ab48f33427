// kxwxclipboard.cpp - the system clipboard through wxClipboard.
#define KX_UNIT "kxwxclipboard"
#include "kx/ui/kxwxclipboard.h"

#include <wx/clipbrd.h>

bool kxWxClipboard::SetText(const char *text)
{
    wxClipboardLocker lock;
    if (!lock)
        return false;
    return wxTheClipboard->SetData(new wxTextDataObject(wxString::FromUTF8(text ? text : "")));
}

bool kxWxClipboard::GetText(KXString &text)
{
    wxClipboardLocker lock;
    if (!lock || !wxTheClipboard->IsSupported(wxDF_UNICODETEXT))
        return false;
    wxTextDataObject data;
    if (!wxTheClipboard->GetData(data) || data.GetText().empty())
        return false;
    text = data.GetText().utf8_str().data();
    return true;
}

void kxWxClipboard::Clear()
{
    wxClipboardLocker lock;
    if (!!lock)
        wxTheClipboard->Clear();
}
