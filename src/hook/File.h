#pragma once

#include "core/Descriptor.h"
#include "core/File.h"

namespace hook {

using ::Descriptor;
using file::readAll;
using file::ReadEnd;

} // namespace hook
