#pragma once
// The record tree and the error list as text, so that what the reader hands on and what the controls
// show compare as strings: per item in pre-order two blanks a level, the image, the text, " +" when
// marked as having children; then per list row "row", the image, the text, "-> #" and its item's number.
#include "viewer/log_reader.h"
#include "viewer/sample_log.h"

#include <windows.h>
#include <commctrl.h>
#include <fstream>
#include <map>
#include <string>
#include <vector>

namespace viewertest {

inline std::string outlineLine(size_t depth, int image, const std::string& text, bool hasChildren)
{
    return std::string(2 * depth, ' ') + std::to_string(image) + " " + text + (hasChildren ? " +" : "") + "\n";
}
inline std::string rowLine(int image, const std::string& text, size_t item)
{
    return "row " + std::to_string(image) + " " + text + " -> #" + std::to_string(item) + "\n";
}

class RecordingSink : public tarv::LogSink {
public:
    Item insertItem(Item parent, const std::string& text, int image, bool hasChildren) override
    {
        items.push_back({reinterpret_cast<size_t>(parent), text, image, hasChildren});
        return reinterpret_cast<Item>(items.size());
    }
    void addListRow(const std::string& text, int image, Item item) override
    {
        rows.push_back(rowLine(image, text, reinterpret_cast<size_t>(item)));
    }
    void report(const tarv::LogReaderMessage& message) override { messages.push_back(message); }
    // Items come in document order, which is the tree's pre-order.
    std::string outline() const
    {
        std::vector<size_t> depth(items.size() + 1, 0);
        std::string out;
        for (size_t i = 0; i < items.size(); ++i) {
            depth[i + 1] = items[i].parent == 0 ? 0 : depth[items[i].parent] + 1;
            out += outlineLine(depth[i + 1], items[i].image, items[i].text, items[i].hasChildren);
        }
        for (const std::string& r : rows) out += r;
        return out;
    }
    struct Node { size_t parent; std::string text; int image; bool hasChildren; };   // parent 0: the root
    std::vector<Node> items;   // numbered from 1
    std::vector<std::string> rows;
    std::vector<tarv::LogReaderMessage> messages;
};

// A control item to be filled with `mask`, its text into `text` (at least 1024 bytes).
template <class Item>
Item asked(UINT mask, char* text)
{
    Item it{};
    it.mask = mask;
    it.pszText = text;
    it.cchTextMax = 1024;
    return it;
}

// The same text read back from a tree and a list control.
inline std::string controlsOutline(HWND tree, HWND list)
{
    std::string out;
    std::map<LPARAM, size_t> numbers;
    auto next = [tree](UINT relation, HTREEITEM item) {
        return reinterpret_cast<HTREEITEM>(SendMessageA(tree, TVM_GETNEXTITEM, relation, reinterpret_cast<LPARAM>(item)));
    };
    char text[1024];
    size_t depth = 0;
    for (HTREEITEM item = next(TVGN_ROOT, nullptr); item;) {
        auto it = asked<TVITEMA>(TVIF_TEXT | TVIF_IMAGE | TVIF_CHILDREN, text);
        it.hItem = item;
        SendMessageA(tree, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&it));
        out += outlineLine(depth, it.iImage, text, it.cChildren != 0);
        numbers[reinterpret_cast<LPARAM>(item)] = numbers.size() + 1;
        if (HTREEITEM child = next(TVGN_CHILD, item)) {
            ++depth;
            item = child;
            continue;
        }
        while (item && !next(TVGN_NEXT, item))
            if ((item = next(TVGN_PARENT, item))) --depth;
        if (item) item = next(TVGN_NEXT, item);
    }
    for (int i = 0, n = static_cast<int>(SendMessageA(list, LVM_GETITEMCOUNT, 0, 0)); i < n; ++i) {
        auto it = asked<LVITEMA>(LVIF_TEXT | LVIF_IMAGE | LVIF_PARAM, text);
        it.iItem = i;
        SendMessageA(list, LVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&it));
        out += rowLine(it.iImage, text, numbers.count(it.lParam) ? numbers[it.lParam] : 0);
    }
    return out;
}

inline std::string tempPath(const std::string& name)
{
    char dir[MAX_PATH];
    return std::string(dir, GetTempPathA(MAX_PATH, dir)) + "tarv-viewer-" + std::to_string(GetCurrentProcessId()) + "-" + name;
}

inline void writeFile(const std::string& path, const std::string& bytes) { std::ofstream(path, std::ios::binary) << bytes; }

// A log file in the temporary folder: the prolog, the root, `body`, and the end of the root
// unless `closed` is false; line ends "\n" become `lineEnd`.
inline std::string writeLogFile(const std::string& name, const std::string& body, bool closed = true, const char* lineEnd = "\r\n")
{
    std::string out;
    for (char c : "<?xml version=\"1.0\" standalone=\"yes\"?>\n<tarvlogdocument>\n" + body + (closed ? "</tarvlogdocument>\n" : ""))
        out += c == '\n' ? std::string(lineEnd) : std::string(1, c);
    writeFile(tempPath(name), out);
    return tempPath(name);
}

} // namespace viewertest
