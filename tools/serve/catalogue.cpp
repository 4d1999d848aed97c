#include "tools/serve/catalogue.h"

#include <algorithm>
#include <stdexcept>

namespace qlip::serve {
namespace {

namespace fs = std::filesystem;

bool is_plain(const std::string& name) {
    return !name.empty() && name[0] != '.' && name.find_first_of(std::string("/\0", 2)) == std::string::npos;
}

bool lies_in(const fs::path& path, const fs::path& folder) {
    return std::mismatch(folder.begin(), folder.end(), path.begin(), path.end()).first == folder.end();
}

}  // namespace

Catalogue::Catalogue(const std::vector<std::string>& paths) {
    for (const std::string& given : paths) {
        std::error_code error;
        const fs::path path = fs::canonical(given, error);
        if (error) throw std::runtime_error("cannot serve " + given + ": " + error.message());
        if (fs::is_directory(path)) {
            folders_.push_back(path);
        } else if (!files_.emplace(fs::path(given).filename(), path).second) {
            throw std::runtime_error("two files are called " + fs::path(given).filename().string());
        }
    }
}

std::optional<std::string> Catalogue::find(const std::vector<std::string>& names) const {
    if (names.empty() || !std::all_of(names.begin(), names.end(), is_plain)) return std::nullopt;
    const auto file = files_.find(names[0]);
    if (names.size() == 1 && file != files_.end()) return file->second;
    for (const fs::path& folder : folders_) {
        fs::path path = folder;
        for (const std::string& name : names)
            path /= name;
        std::error_code error;
        path = fs::canonical(path, error);
        if (!error && lies_in(path, folder) && fs::is_regular_file(path, error)) return path;
    }
    return std::nullopt;
}

std::vector<std::string> Catalogue::offers() const {
    std::vector<std::string> out;
    for (const auto& [name, path] : files_)
        out.push_back(name);
    if (!folders_.empty()) out.emplace_back("*");
    return out;
}

}  // namespace qlip::serve
