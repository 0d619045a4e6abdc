#pragma once
// The add-package dialog: the registered components of the six package and container categories
// in a tree, a container's packages fetched when its node first opens, and one filled record on OK.
// Shown from the manager window and from the new-package method of the exposed managers.
#include "packages/package_store.h"

#include <windows.h>
#include <commctrl.h>

#include <memory>
#include <string>
#include <vector>

namespace tarv {

// One top-level item of the tree: a component found in one category.
struct ComponentEntry {
    CLSID clsid{};
    PackageKind kind = PropertyPackageManager11;
    std::string label;
};

class CAddPackageDlg {
public:
    std::string title;           // replaces the dialog's title when not empty
    int32_t hideProperty10 = 0;  // hides kinds 2 and 3
    int32_t hideProperty11 = 0;  // hides kinds 0 and 1
    int32_t hideReaction = 0;    // hides kinds 4 and 5
    ExportedPackage result;      // filled on OK
    std::vector<std::unique_ptr<ComponentEntry>> entries;

    // Runs the dialog modally; IDOK with `result` filled, or IDCANCEL.
    INT_PTR showModal(HWND owner);

private:
    static INT_PTR CALLBACK dialogProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
    void startUp();
    void fillTree();
    void expand(HTREEITEM item, LPARAM data);
    bool selectable(HTREEITEM item) const;
    void accept();
    const ComponentEntry* entryOf(HTREEITEM item) const;

    HWND window_ = nullptr;
    HWND tree_ = nullptr;
};

// The six categories of packages and containers, indexed by PackageKind.
extern const char* const kPackageCategories[6];

} // namespace tarv
