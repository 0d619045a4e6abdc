#include "support/dialogs.h"

namespace testsupport {
namespace {

constexpr int kMessageBoxText = 0xFFFF;
constexpr int kMessageBoxIcon = 0x0440;
constexpr int kFileNameCombo = 0x047C;   // cmb13 of the explorer-style file dialogs
constexpr int kFileNameEdit = 0x0480;    // edt1 of the older ones

struct Search {
    const std::string* caption;
    HWND found = nullptr;
};

BOOL CALLBACK findByCaption(HWND window, LPARAM param)
{
    auto* search = reinterpret_cast<Search*>(param);
    char text[256] = "";
    GetWindowTextA(window, text, sizeof text);
    if (*search->caption == text && IsWindowVisible(window)) {
        search->found = window;
        return FALSE;
    }
    return TRUE;
}

} // namespace

HICON messageBoxIcon(UINT iconFlag)
{
    switch (iconFlag) {
    case MB_ICONERROR: return LoadIconA(nullptr, MAKEINTRESOURCEA(32513));      // IDI_HAND
    case MB_ICONQUESTION: return LoadIconA(nullptr, MAKEINTRESOURCEA(32514));   // IDI_QUESTION
    case MB_ICONWARNING: return LoadIconA(nullptr, MAKEINTRESOURCEA(32515));    // IDI_EXCLAMATION
    case MB_ICONINFORMATION: return LoadIconA(nullptr, MAKEINTRESOURCEA(32516)); // IDI_ASTERISK
    default: return nullptr;
    }
}

DialogAnswerer::DialogAnswerer(std::string caption, int button, int times, std::string fileName)
    : caption_(std::move(caption)), button_(button), times_(times), fileName_(std::move(fileName)),
      thread_([this] { run(); })
{
}

DialogAnswerer::~DialogAnswerer()
{
    stop_ = true;
    thread_.join();
}

bool DialogAnswerer::wait(DWORD milliseconds)
{
    for (DWORD waited = 0; answered_ < times_; waited += 10) {
        if (waited >= milliseconds) return false;
        Sleep(10);
    }
    return true;
}

std::vector<SeenDialog> DialogAnswerer::seen() const
{
    std::lock_guard<std::mutex> guard(lock_);
    return seen_;
}

void DialogAnswerer::run()
{
    HWND last = nullptr;
    while (!stop_ && answered_ < times_) {
        Search search{&caption_};
        EnumWindows(&findByCaption, reinterpret_cast<LPARAM>(&search));
        if (!search.found || search.found == last) {
            Sleep(10);
            continue;
        }
        HWND w = search.found;
        Sleep(50);   // let the dialog finish its initialisation
        SeenDialog seen;
        seen.caption = caption_;
        char text[2048] = "";
        GetDlgItemTextA(w, kMessageBoxText, text, sizeof text);
        seen.text = text;
        for (int id : {IDOK, IDCANCEL, IDYES, IDNO})
            if (GetDlgItem(w, id)) seen.buttons.push_back(id);
        seen.icon = reinterpret_cast<HICON>(SendDlgItemMessageA(w, kMessageBoxIcon, STM_GETICON, 0, 0));
        GetWindowThreadProcessId(w, &seen.processId);
        {
            std::lock_guard<std::mutex> guard(lock_);
            seen_.push_back(seen);
        }
        if (!fileName_.empty()) {
            HWND field = GetDlgItem(w, kFileNameCombo);
            if (!field) field = GetDlgItem(w, kFileNameEdit);
            SetWindowTextA(field, fileName_.c_str());
        }
        PostMessageA(w, WM_COMMAND, MAKEWPARAM(button_, BN_CLICKED), reinterpret_cast<LPARAM>(GetDlgItem(w, button_)));
        last = w;
        ++answered_;
    }
}

} // namespace testsupport
