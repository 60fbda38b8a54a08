#pragma once

namespace base {

/// Opens /dev/null on those of the descriptors 0 to 2 that are closed. To be called before anything
/// else is opened: a file that got such a number would take in what is printed.
void occupy_standard_descriptors();

}  // namespace base
