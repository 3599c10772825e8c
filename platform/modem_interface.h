// The daemon's direct interface to the modem (libfcx_modeminterface). The phone's sibling library
// provides these functions; on the bench the virtual phone's modem does.
#pragma once

#include "fcx/qvcmd.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Opens the interface. 0 when the modem can be reached.
int dmi_init(void);

/// Carries one request to the modem and waits for its answer, whose status word is `reserved`.
/// @return 0 when the modem answered; 2 when it does not know the request; any other value when the
///         exchange failed. The answer's `result` has no meaning here.
int request_to_modem_via_dmi(qvcmd_request* request, qvcmd_response* response);

/// Closes the interface. 0 on success.
int dmi_release(void);

#ifdef __cplusplus
}
#endif
