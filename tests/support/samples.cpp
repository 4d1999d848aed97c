#include "tests/support/samples.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace qlip_test {

Bytes read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error("cannot read " + path);
    return Bytes(std::istreambuf_iterator<char>(in), {});
}

Bytes sample(const std::string& name) {
    return read_file(std::string(QLIP_SAMPLES) + "/" + name);
}

const std::vector<std::string>& sample_names() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> found;
        for (const auto& entry : std::filesystem::directory_iterator(QLIP_SAMPLES))
            if (entry.path().extension() == ".3gp") found.push_back(entry.path().filename());
        std::sort(found.begin(), found.end());
        return found;
    }();
    return names;
}

}  // namespace qlip_test
