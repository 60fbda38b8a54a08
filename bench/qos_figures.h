#pragma once

#include "figures.h"

/// Those of app_qos.
std::vector<Figure> qos_figures();
