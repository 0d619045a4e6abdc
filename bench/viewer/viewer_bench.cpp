// Opening large logs in the viewer. Logs of about 10 and 100 MiB are written by CallLog itself
// (rounds of calls with nested calls back, string and double arrays, notes, warnings, failures).
// Each phase runs in a process of its own, so that its peak working set is its own:
//   floor   a bare xmlTextReader pass over the file, opened as the reader opens it
//   walk    the reader's walk into a sink that keeps nothing
//   tree    the walk into a tree control alone (hidden window, redrawing off), then the text of
//           every item read once in tree order: the floor of a search over all items (smaller log)
//   list    the walk into a list control alone
//   viewer  the viewer itself, from openLogViewer until its window shows with the tree filled,
//           then one search over all items that finds nothing (until its message box appears)
//   check   the log checker's reading and its text report, as `tarvlog check` does them
// The table gives seconds, MiB/s, the ratio of each speed to the floor's, and the peak working set
// above the process's own at start. Nothing is asserted.
//
// A phase's process ends without destroying its controls: under Wine the tree control looks up and
// removes each item in an array of all items, so freeing a tree of millions of items one by one
// would take far longer than building it, and is no part of opening a log.
#include "viewer/sample_log.h"

#include "bench/table.h"

#include "host/module.h"
#include "support/process.h"
#include "viewer/log_check.h"
#include "viewer/log_reader.h"
#include "viewer/view_log_dlg.h"
#include "viewer_ids.h"

#include <windows.h>
#include <commctrl.h>
#include <fcntl.h>
#include <io.h>
#include <psapi.h>
#include <share.h>
#include <sys/stat.h>

#include <libxml/xmlreader.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

double seconds()
{
    static const double frequency = [] {
        LARGE_INTEGER f;
        QueryPerformanceFrequency(&f);
        return static_cast<double>(f.QuadPart);
    }();
    LARGE_INTEGER now;
    QueryPerformanceCounter(&now);
    return static_cast<double>(now.QuadPart) / frequency;
}

double peakMiB()
{
    PROCESS_MEMORY_COUNTERS counters{};
    counters.cb = sizeof counters;
    GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof counters);
    return static_cast<double>(counters.PeakWorkingSetSize) / (1024.0 * 1024.0);
}

double fileMiB(const std::string& path)
{
    WIN32_FILE_ATTRIBUTE_DATA data{};
    GetFileAttributesExA(path.c_str(), GetFileExInfoStandard, &data);
    return static_cast<double>((static_cast<uint64_t>(data.nFileSizeHigh) << 32) | data.nFileSizeLow) / (1024.0 * 1024.0);
}

// Searches are timed on the smaller log only: Wine's tree control finds each item it is asked about
// by walking an array of all items, so reading every item of a tree of millions takes hours there.
bool searched(const std::string& path)
{
    return fileMiB(path) < 20;
}

struct Result {
    double seconds = 0;
    double peak = 0;        // MiB above the process at start
    double start = 0;       // MiB of the process at start
    long items = 0;
    long rows = 0;
    double search = 0;      // viewer: one search that finds nothing; tree: every item's text read
};

// What the floor does: the same descriptor, options and reader, and nothing with the nodes.
Result floorPass(const std::string& path)
{
    Result r;
    double start = seconds();
    int fd = -1;
    _sopen_s(&fd, path.c_str(), _O_RDONLY | _O_TEXT | _O_RANDOM, _SH_DENYRW, _S_IREAD);
    xmlTextReaderPtr reader = xmlReaderForFd(fd, nullptr, nullptr, XML_PARSE_RECOVER | XML_PARSE_NOBLANKS | XML_PARSE_NONET);
    while (xmlTextReaderRead(reader) == 1) ++r.items;
    xmlFreeTextReader(reader);
    _close(fd);
    xmlCleanupParser();
    r.seconds = seconds() - start;
    return r;
}

// The walk into controls of a hidden window, or into nothing.
class ControlSink : public tarv::LogSink {
public:
    ControlSink(HWND tree, HWND list) : tree_(tree), list_(list) {}

    Item insertItem(Item parent, const std::string& text, int image, bool hasChildren) override
    {
        ++items;
        if (!tree_) return reinterpret_cast<Item>(items);
        TVINSERTSTRUCTA insert{};
        insert.hParent = parent ? static_cast<HTREEITEM>(parent) : TVI_ROOT;
        insert.hInsertAfter = TVI_LAST;
        insert.item.mask = TVIF_TEXT | TVIF_IMAGE | TVIF_SELECTEDIMAGE | TVIF_CHILDREN;
        insert.item.pszText = const_cast<char*>(text.c_str());
        insert.item.iImage = insert.item.iSelectedImage = image;
        insert.item.cChildren = hasChildren;
        return reinterpret_cast<Item>(SendMessageA(tree_, TVM_INSERTITEMA, 0, reinterpret_cast<LPARAM>(&insert)));
    }
    void addListRow(const std::string& text, int image, Item item) override
    {
        ++rows;
        if (!list_) return;
        LVITEMA row{};
        row.mask = LVIF_TEXT | LVIF_IMAGE | LVIF_PARAM;
        row.iItem = static_cast<int>(rows);
        row.pszText = const_cast<char*>(text.c_str());
        row.iImage = image;
        row.lParam = reinterpret_cast<LPARAM>(item);
        SendMessageA(list_, LVM_INSERTITEMA, 0, reinterpret_cast<LPARAM>(&row));
    }
    void report(const tarv::LogReaderMessage& m) override { std::fprintf(stderr, "%s %s\n", m.caption, m.text.c_str()); }

    long items = 0;
    long rows = 0;

private:
    HWND tree_;
    HWND list_;
};

// Reads every item's text in tree order, as any search over all items must, and looks for a text
// that no item holds.
long readAllItems(HWND tree, HTREEITEM item)
{
    long seen = 0;
    char text[4096];
    for (; item; item = reinterpret_cast<HTREEITEM>(SendMessageA(tree, TVM_GETNEXTITEM, TVGN_NEXT, reinterpret_cast<LPARAM>(item)))) {
        TVITEMA it{};
        it.mask = TVIF_TEXT;
        it.hItem = item;
        it.pszText = text;
        it.cchTextMax = sizeof text;
        SendMessageA(tree, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&it));
        seen += std::strstr(text, "a text that no record holds") == nullptr;
        seen += readAllItems(tree, reinterpret_cast<HTREEITEM>(SendMessageA(tree, TVM_GETNEXTITEM, TVGN_CHILD, reinterpret_cast<LPARAM>(item))));
    }
    return seen;
}

Result walkInto(const std::string& path, bool tree, bool list)
{
    HWND window = CreateWindowExA(0, "STATIC", "", WS_POPUP, 0, 0, 800, 600, nullptr, nullptr, nullptr, nullptr);
    HWND treeControl = tree ? CreateWindowExA(0, WC_TREEVIEWA, "", WS_CHILD | WS_VISIBLE | TVS_HASBUTTONS | TVS_HASLINES |
                                              TVS_LINESATROOT | TVS_SHOWSELALWAYS, 0, 0, 800, 400, window, nullptr, nullptr, nullptr)
                            : nullptr;
    HWND listControl = list ? CreateWindowExA(0, WC_LISTVIEWA, "", WS_CHILD | WS_VISIBLE | LVS_REPORT | LVS_SINGLESEL |
                                              LVS_SHAREIMAGELISTS, 0, 400, 800, 200, window, nullptr, nullptr, nullptr)
                            : nullptr;
    for (HWND control : {treeControl, listControl})
        if (control) SendMessageA(control, WM_SETREDRAW, FALSE, 0);
    if (listControl) {
        LVCOLUMNA column{};
        column.mask = LVCF_TEXT;
        column.pszText = const_cast<char*>("Errors");
        SendMessageA(listControl, LVM_INSERTCOLUMNA, 0, reinterpret_cast<LPARAM>(&column));
    }
    ControlSink sink(treeControl, listControl);
    double start = seconds();
    tarv::parseLogFile(path, sink);
    Result r;
    r.seconds = seconds() - start;
    r.items = sink.items;
    r.rows = sink.rows;
    if (treeControl && searched(path)) {
        start = seconds();
        readAllItems(treeControl, reinterpret_cast<HTREEITEM>(SendMessageA(treeControl, TVM_GETNEXTITEM, TVGN_ROOT, 0)));
        r.search = seconds() - start;
    }
    return r;
}

// Waits for a top-level window with `caption`, checking every millisecond; the time it was seen.
double whenShown(const char* caption, HWND* found, bool visible)
{
    for (;;) {
        HWND w = FindWindowA("#32770", caption);
        if (w && (!visible || IsWindowVisible(w))) {
            *found = w;
            return seconds();
        }
        Sleep(1);
    }
}

Result checkPass(const std::string& path)
{
    Result r;
    const double start = seconds();
    const tarv::LogReport report = tarv::readLogReport(path, false);
    const std::string text = tarv::textReport(report, tarv::CheckOptions{}, true);
    r.seconds = seconds() - start;
    r.items = report.records;
    r.rows = report.errors + report.warnings;
    return r;
}

Result viewerPass(const std::string& path)
{
    tarv::createSharedImageList(GetModuleHandleA(nullptr));
    std::string name = path.substr(path.rfind('\\') + 1);
    Result r;
    double start = seconds();
    tarv::openLogViewer(path);
    HWND window = nullptr;
    r.seconds = whenShown(("Log file " + name + ":").c_str(), &window, true) - start;
    HWND tree = GetDlgItem(window, IDC_LOG_TREE);
    r.items = static_cast<long>(SendMessageA(tree, TVM_GETCOUNT, 0, 0));
    r.rows = static_cast<long>(SendMessageA(GetDlgItem(window, IDC_ERROR_LIST), LVM_GETITEMCOUNT, 0, 0));
    r.peak = peakMiB();
    if (!searched(path)) return r;

    auto* viewer = reinterpret_cast<tarv::CViewLogDlg*>(GetWindowLongPtrA(window, DWLP_USER));
    viewer->searchText = "a text that no record holds";
    SendMessageA(tree, TVM_SELECTITEM, TVGN_CARET, 0);
    start = seconds();
    PostMessageA(window, WM_COMMAND, ID_SEARCH_FIND_NEXT, 0);
    HWND box = nullptr;
    r.search = whenShown("Search tree:", &box, false) - start;
    return r;
}

int child(const std::string& phase, const std::string& path, const std::string& resultFile)
{
    double base = peakMiB();
    Result r;
    if (phase == "floor") r = floorPass(path);
    else if (phase == "walk") r = walkInto(path, false, false);
    else if (phase == "tree") r = walkInto(path, true, false);
    else if (phase == "list") r = walkInto(path, false, true);
    else if (phase == "viewer") r = viewerPass(path);
    else if (phase == "check") r = checkPass(path);
    if (phase != "viewer") r.peak = peakMiB();
    {
        std::ofstream out(resultFile);
        out << r.seconds << ' ' << r.peak - base << ' ' << base << ' ' << r.items << ' ' << r.rows << ' ' << r.search;
    }
    TerminateProcess(GetCurrentProcess(), 0);
    return 0;
}

Result runPhase(const std::string& phase, const std::string& path)
{
    char dir[MAX_PATH];
    GetTempPathA(MAX_PATH, dir);
    std::string resultFile = std::string(dir) + "tarv-viewer-bench-result.txt";
    DeleteFileA(resultFile.c_str());
    std::string args = " --phase " + phase + " \"" + path + "\" \"" + resultFile + "\"";
    testsupport::runProcess(testsupport::quotedSelf() + std::wstring(args.begin(), args.end()), 4 * 3600000);
    Result r;
    std::ifstream(resultFile) >> r.seconds >> r.peak >> r.start >> r.items >> r.rows >> r.search;
    return r;
}

std::string writeLog(double targetMiB)
{
    char dir[MAX_PATH];
    GetTempPathA(MAX_PATH, dir);
    std::string probe = std::string(dir) + "tarv-viewer-bench-probe.tlg";
    viewertest::writeSampleLog(probe, 100);
    double perRound = fileMiB(probe) / 100;
    DeleteFileA(probe.c_str());
    std::string path = std::string(dir) + "tarv-viewer-bench-" + std::to_string(static_cast<int>(targetMiB)) + "MiB.tlg";
    double start = seconds();
    viewertest::writeSampleLog(path, static_cast<int>(targetMiB / perRound));
    std::printf("  written by CallLog: %s, %.1f MiB in %.1f s\n", path.c_str(), fileMiB(path), seconds() - start);
    return path;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc == 5 && std::strcmp(argv[1], "--phase") == 0) return child(argv[2], argv[3], argv[4]);

    std::printf("Opening logs in the viewer; each phase in a process of its own; peak = working set above the "
                "process at start\n");
    std::vector<double> sizes = {10, 100};
    if (argc == 2) sizes = {std::atof(argv[1])};
    for (double size : sizes) {
        std::printf("\nlog of about %.0f MiB\n", size);
        std::string path = writeLog(size);
        double mib = fileMiB(path);
        Result floor = runPhase("floor", path);
        std::printf("  %-38s %9s %8s %9s %10s %9s %8s\n", "phase", "seconds", "MiB/s", "vs floor", "peak MiB",
                    "items", "rows");
        auto line = [&](const char* what, const Result& r) {
            std::printf("  %-38s %9.2f %8.1f %8.2fx %10.1f %9ld %8ld\n", what, r.seconds, mib / r.seconds,
                        floor.seconds / r.seconds, r.peak, r.items, r.rows);
        };
        line("floor: bare xmlTextReader pass", floor);
        Result walk = runPhase("walk", path);
        line("reader walk, no controls", walk);
        // The tree alone is timed on the smaller log only; on the larger one it is what the viewer's
        // time leaves after the walk and the list (Wine's tree control slows as it fills).
        Result tree;
        if (searched(path)) {
            tree = runPhase("tree", path);
            line("walk into the tree only", tree);
        }
        Result list = runPhase("list", path);
        line("walk into the list only", list);
        // Under Wine the tree control fills ever more slowly: the larger log's viewer phase runs for
        // over an hour, so it runs only when asked for.
        const bool viewerPhase = searched(path) || std::getenv("TARV64_BENCH_FULL") != nullptr;
        Result viewer;
        if (viewerPhase) {
            viewer = runPhase("viewer", path);
            line("viewer: open until the tree is filled", viewer);
        } else {
            std::printf("  viewer: left out on this log (TARV64_BENCH_FULL=1 runs it; over an hour under Wine)\n");
        }
        Result check = runPhase("check", path);
        line("tarvlog check (reading and report)", check);
        if (searched(path))
            std::printf("  one search over all %ld items, nothing found: %.2f s (each item's text read once: %.2f s)\n",
                        viewer.items, viewer.search, tree.search);
        const std::string sized = std::to_string(static_cast<int>(mib + 0.5)) + " MiB log";
        if (viewerPhase)
            bench::tableRow(("viewer opens a " + sized).c_str(), viewer.seconds, "s", "bare xmlTextReader pass",
                            floor.seconds);
        bench::tableRow(("tarvlog check of a " + sized).c_str(), check.seconds, "s", "bare xmlTextReader pass", floor.seconds);
        if (searched(path))
            bench::tableRow(("search over all items of a " + sized).c_str(), viewer.search, "s",
                            "each item's text read once", tree.search);
        std::printf("  (peak: working set above the process at start, which was %.1f MiB)\n", floor.start);
        if (searched(path))
            std::printf("  where the viewer's time goes: parser %.2f s, walk %.2f s, tree insertion %.2f s, "
                        "list %.2f s, rest (window, progress, sizing) %.2f s\n",
                        floor.seconds, walk.seconds - floor.seconds, tree.seconds - walk.seconds,
                        list.seconds - walk.seconds, viewer.seconds - tree.seconds - list.seconds + walk.seconds);
        else if (viewerPhase)
            std::printf("  where the viewer's time goes: parser %.2f s, walk %.2f s, list %.2f s, tree insertion "
                        "with the rest (window, progress, sizing) %.2f s\n",
                        floor.seconds, walk.seconds - floor.seconds, list.seconds - walk.seconds,
                        viewer.seconds - list.seconds);
        DeleteFileA(path.c_str());
    }
    return 0;
}
