#pragma once

/// Marks what other programs of the gateway may call by its plain name; everything else in the
/// daemon is hidden from them.
#define APPCFGD_EXPORT __attribute__((visibility("default"), used))
