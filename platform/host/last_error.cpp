#include <maren/host.h>

namespace {
thread_local DWORD t_last_error = 0;
}

extern "C" {

void SetLastError(DWORD dwErrCode) { t_last_error = dwErrCode; }

DWORD GetLastError(void) { return t_last_error; }

}
