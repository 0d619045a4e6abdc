// Definitions of the CAPE-OPEN component categories that capeopen.h declares (CATID_*).
#include <windows.h>
#include <initguid.h>

#include "capeopen.h"
