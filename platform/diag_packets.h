// The diagnostic library's packets. The phone's library provides them; on the bench the virtual
// phone does.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// A zeroed packet of `length` bytes whose first byte is the command code. Owned by the caller,
/// who keeps it. Null when there is none to be had.
void* diagpkt_alloc(int command_code, int length);

#ifdef __cplusplus
}
#endif
