#pragma once

/// Microseconds of one run of the `uci` tool, its start included, that does what the lines of
/// `batch` say. Ends the benchmark if that fails.
double uci_batch(const char* batch);
