#include "support/dialogs.h"

namespace testsupport {
namespace {

constexpr int kMessageBoxText = 0xFFFF;
constexpr int kMessageBoxIcon = 0x0440;
constexpr int kFileNameCombo = 0x047C;   // cmb13 of the explorer-style file dialogs
constexpr int kFileNameEdit = 0x0480;    // edt1 of the older ones

// The first visible top-level window captioned `caption`, of any process.
HWND findVisible(const std::string& caption)
{
    for (HWND w = FindWindowExA(nullptr, nullptr, nullptr, caption.c_str()); w; w = FindWindowExA(nullptr, w, nullptr, caption.c_str()))
        if (IsWindowVisible(w)) return w;
    return nullptr;
}

// The pixels of an icon, to recognise a standard icon shown by another process.
std::string iconBits(HICON icon)
{
    ICONINFO info{};
    if (!icon || !GetIconInfo(icon, &info)) return {};
    std::string bits;
    for (HBITMAP bitmap : {info.hbmColor, info.hbmMask}) {
        if (!bitmap) continue;
        BITMAP bm{};
        GetObjectA(bitmap, sizeof bm, &bm);
        std::string part(static_cast<size_t>(bm.bmWidthBytes) * bm.bmHeight, '\0');
        GetBitmapBits(bitmap, static_cast<LONG>(part.size()), part.data());
        bits += part;
        DeleteObject(bitmap);
    }
    return bits;
}

UINT standardIcon(HICON shown)
{
    const std::string bits = iconBits(shown);
    for (auto [flag, resource] : {std::pair{MB_ICONERROR, 32513}, {MB_ICONQUESTION, 32514}, {MB_ICONWARNING, 32515}, {MB_ICONINFORMATION, 32516}})
        if (!bits.empty() && iconBits(LoadIconA(nullptr, MAKEINTRESOURCEA(resource))) == bits) return flag;
    return 0;
}

} // namespace

HWND waitForWindow(const std::string& caption, DWORD milliseconds)
{
    for (DWORD waited = 0; waited < milliseconds; waited += 10, Sleep(10)) {
        HWND w = FindWindowA("#32770", caption.c_str());
        if (w && IsWindowVisible(w)) return w;
    }
    return nullptr;
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
        HWND w = findVisible(caption_);
        if (!w || w == last) {
            Sleep(10);
            continue;
        }
        Sleep(50);   // let the dialog finish its initialisation
        SeenDialog seen;
        seen.caption = caption_;
        char text[2048] = "";
        GetDlgItemTextA(w, kMessageBoxText, text, sizeof text);
        seen.text = text;
        for (int id : {IDOK, IDCANCEL, IDYES, IDNO})
            if (GetDlgItem(w, id)) seen.buttons.push_back(id);
        HICON icon = reinterpret_cast<HICON>(SendDlgItemMessageA(w, kMessageBoxIcon, STM_GETICON, 0, 0));
        seen.hasIcon = icon != nullptr;
        seen.icon = standardIcon(icon);
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
