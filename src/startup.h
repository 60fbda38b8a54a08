#pragma once

#include <span>

#include "core/daemon.h"

/// What the daemon does on its way to the bus, in this order: platform services come up, and get
/// their stored configuration back.
std::span<const appcfg::StartupStep> startup_steps();
