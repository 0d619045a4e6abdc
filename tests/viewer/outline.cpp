#include "viewer/outline.h"

#include <commctrl.h>

#include <fstream>
#include <map>

namespace viewertest {
namespace {

std::string line(size_t depth, int image, const std::string& text, bool hasChildren)
{
    return std::string(2 * depth, ' ') + std::to_string(image) + " " + text + (hasChildren ? " +" : "") + "\n";
}

std::string rowLine(int image, const std::string& text, size_t item)
{
    return "row " + std::to_string(image) + " " + text + " -> #" + std::to_string(item) + "\n";
}

} // namespace

tarv::LogSink::Item RecordingSink::insertItem(Item parent, const std::string& text, int image, bool hasChildren)
{
    items.push_back({reinterpret_cast<size_t>(parent), text, image, hasChildren});
    return reinterpret_cast<Item>(items.size());
}

void RecordingSink::addListRow(const std::string& text, int image, Item item)
{
    rows.push_back(rowLine(image, text, reinterpret_cast<size_t>(item)));
}

std::string RecordingSink::outline() const
{
    // Items are inserted in document order, which is the tree's pre-order.
    std::vector<size_t> depth(items.size() + 1, 0);
    std::string out;
    for (size_t i = 0; i < items.size(); ++i) {
        const Node& n = items[i];
        depth[i + 1] = n.parent == 0 ? 0 : depth[n.parent] + 1;
        out += line(depth[i + 1], n.image, n.text, n.hasChildren);
    }
    for (const std::string& r : rows) out += r;
    return out;
}

std::string controlsOutline(HWND tree, HWND list)
{
    std::string out;
    std::map<LPARAM, size_t> numbers;
    auto next = [tree](UINT relation, HTREEITEM item) {
        return reinterpret_cast<HTREEITEM>(SendMessageA(tree, TVM_GETNEXTITEM, relation, reinterpret_cast<LPARAM>(item)));
    };
    size_t depth = 0;
    for (HTREEITEM item = next(TVGN_ROOT, nullptr); item;) {
        char text[4096] = "";
        TVITEMA it{};
        it.mask = TVIF_TEXT | TVIF_IMAGE | TVIF_CHILDREN;
        it.hItem = item;
        it.pszText = text;
        it.cchTextMax = sizeof text;
        SendMessageA(tree, TVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&it));
        out += line(depth, it.iImage, text, it.cChildren != 0);
        size_t number = numbers.size() + 1;
        numbers[reinterpret_cast<LPARAM>(item)] = number;
        if (HTREEITEM child = next(TVGN_CHILD, item)) {
            ++depth;
            item = child;
            continue;
        }
        while (item && !next(TVGN_NEXT, item)) {
            item = next(TVGN_PARENT, item);
            if (item) --depth;
        }
        if (item) item = next(TVGN_NEXT, item);
    }
    int count = static_cast<int>(SendMessageA(list, LVM_GETITEMCOUNT, 0, 0));
    for (int i = 0; i < count; ++i) {
        char text[4096] = "";
        LVITEMA it{};
        it.mask = LVIF_TEXT | LVIF_IMAGE | LVIF_PARAM;
        it.iItem = i;
        it.pszText = text;
        it.cchTextMax = sizeof text;
        SendMessageA(list, LVM_GETITEMA, 0, reinterpret_cast<LPARAM>(&it));
        out += rowLine(it.iImage, text, numbers.count(it.lParam) ? numbers[it.lParam] : 0);
    }
    return out;
}

std::string tempPath(const std::string& name)
{
    char dir[MAX_PATH];
    DWORD n = GetTempPathA(MAX_PATH, dir);
    return std::string(dir, n) + "tarv-viewer-" + std::to_string(GetCurrentProcessId()) + "-" + name;
}

std::string writeLogFile(const std::string& name, const std::string& body, bool closed, const char* lineEnd)
{
    std::string text = "<?xml version=\"1.0\" standalone=\"yes\"?>\n<tarvlogdocument>\n" + body;
    if (closed) text += "</tarvlogdocument>\n";
    std::string out;
    for (char c : text) {
        if (c == '\n') out += lineEnd;
        else out += c;
    }
    std::string path = tempPath(name);
    std::ofstream(path, std::ios::binary) << out;
    return path;
}

} // namespace viewertest
