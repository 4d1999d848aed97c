// The real files in samples/.
#pragma once

#include <string>
#include <vector>

#include "tests/support/memory_host.h"

namespace qlip_test {

Bytes read_file(const std::string& path);

// The bytes of samples/<name>; fails the test run when the file is missing.
Bytes sample(const std::string& name);

// Names of all samples.
const std::vector<std::string>& sample_names();

}  // namespace qlip_test
