// Resource numbers of the manager window, the add-package dialog and the About box, shared by
// manager.rc and the code.
#pragma once

#define IDD_PACKAGE_MANAGER 102
#define IDD_ADD_PACKAGE 105
#define IDD_ABOUT 107
#define IDR_MANAGER_MENU 203

#define IDC_PACKAGE_LIST 201
#define IDC_COMPONENT_TREE 204
#define IDC_LOGGING_ENABLED 814
#define IDC_ABOUT_VERSION 815
#define IDC_ABOUT_ADDRESS 816

#define ID_PACKAGE_ADD 202
#define ID_PACKAGE_REMOVE 203
#define ID_UNIT_FIRST 212
#define ID_UNIT_UNKNOWN 812
#define ID_FILE_CLOSE 32768
#define ID_LOG_VIEW 32769
#define ID_LOG_ENABLE 32784
#define ID_HELP_HELP 32791
#define ID_HELP_ABOUT 32792
#define ID_OPTIONS_AUTO_LOCATION 32796
#define ID_OPTIONS_PROMPT_OPEN_LOG 32797
#define ID_OPTIONS_ASK_USER 32799

// The command of "&About TARV..." in the window's system menu.
#define ID_SYSTEM_ABOUT 16
