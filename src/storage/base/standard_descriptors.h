// The three descriptors that every program expects to have. A caller may have closed them, and the next file
// that is opened would then get their number: messages would be written into a database or a report.
#pragma once

namespace corvix::storage {

/// Opens what is closed of descriptors 0 to 2: nothing can be read from it, and results that are written to
/// it fail. To be called before anything else opens a file.
void OpenStandardDescriptors();

}  // namespace corvix::storage
