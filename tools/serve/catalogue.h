// Which files are served, and under which names.
#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace qlip::serve {

class Catalogue {
  public:
    // Files go by their last names, and those in folders by their paths there. Throws std::runtime_error for
    // a path that is not there, and for two files of one name.
    explicit Catalogue(const std::vector<std::string>& paths);

    // The file of a request's path, which was taken apart at its slashes and decoded. Nothing outside the
    // folders is found, whatever dots and links lead there, and nothing hidden.
    std::optional<std::string> find(const std::vector<std::string>& names) const;

    // What clients can ask for, with an asterisk for the names in a folder.
    std::vector<std::string> offers() const;

  private:
    std::map<std::string, std::string> files_;  // by name
    std::vector<std::filesystem::path> folders_;
};

}  // namespace qlip::serve
