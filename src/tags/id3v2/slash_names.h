// Names that hold a slash although a slash separates names.
#pragma once

#include <string>

namespace id3parser {

// When the values in `value`, between carriage returns, are the pieces of a known act's name, puts the
// slashes back between them.
void rejoinSlashName(std::u16string& value);

}  // namespace id3parser
