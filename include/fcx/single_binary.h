// Carrier set-up: one software image finds its carrier.
#pragma once

#pragma GCC visibility push(default)

/// Empties the properties "persist.vendor.qve.mcc-list" and "persist.vendor.qve.mccmnc-list".
void sbpSetDefaultMCCLists();

/// Sets "persist.vendor.qve.ntcode-changed" to "3" and "persist.vendor.qve.tavrin.ntcode" to the
/// empty network code.
void sbpSetDefaultNTcode();

#pragma GCC visibility pop
