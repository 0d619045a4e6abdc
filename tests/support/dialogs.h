#pragma once
// Answers the real dialogs that code under test shows (message boxes, the Save dialog), in this
// process or in a server process of the same Wine session: a thread watches for a top-level window
// with the expected caption, records what it shows, and presses the answer.
#include <windows.h>

#include <atomic>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace testsupport {

// The visible dialog captioned `caption`, of any process, once it shows; null after `milliseconds`.
HWND waitForWindow(const std::string& caption, DWORD milliseconds = 10000);

struct SeenDialog {
    std::string caption;
    std::string text;           // a message box's text
    std::vector<int> buttons;   // the standard buttons present (IDOK, IDCANCEL, IDYES, IDNO)
    bool hasIcon = false;
    UINT icon = 0;              // MB_ICONERROR, MB_ICONQUESTION, ...; 0 when unreadable (another process's)
};

class DialogAnswerer {
public:
    // Presses `button` on each window captioned `caption` that appears, up to `times` windows.
    // For a file dialog, `fileName` is typed into its name field first.
    DialogAnswerer(std::string caption, int button, int times = 1, std::string fileName = {});
    ~DialogAnswerer();
    DialogAnswerer(const DialogAnswerer&) = delete;
    DialogAnswerer& operator=(const DialogAnswerer&) = delete;

    // Waits until `times` dialogs were answered; false on time-out.
    bool wait(DWORD milliseconds = 10000);
    std::vector<SeenDialog> seen() const;

private:
    void run();

    std::string caption_;
    int button_, times_;
    std::string fileName_;
    std::atomic<bool> stop_{false};
    std::atomic<int> answered_{0};
    mutable std::mutex lock_;
    std::vector<SeenDialog> seen_;
    std::thread thread_;
};

} // namespace testsupport
