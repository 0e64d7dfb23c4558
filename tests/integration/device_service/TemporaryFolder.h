#pragma once

#include "support/TemporaryFolder.h"

namespace device::test {

using kova::test::readFile;
using kova::test::TemporaryFolder;
using kova::test::writeFile;

}  // namespace device::test
