#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <stdexcept>
#include <string>

namespace bkfd {

/// A temporary folder on the host that goes with the object. Names are paths below it.
class HostFolder {
  public:
    HostFolder() {
        if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("no temporary folder");
    }
    ~HostFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    HostFolder(const HostFolder&) = delete;
    HostFolder& operator=(const HostFolder&) = delete;

    const std::string& Path() const { return path_; }
    std::string Path(const std::string& name) const { return path_ + '/' + name; }
    bool Has(const std::string& name) const { return std::filesystem::exists(Path(name)); }

    /// Makes the folders above as well.
    void Write(const std::string& name, const std::string& content) const {
        std::filesystem::create_directories(std::filesystem::path(Path(name)).parent_path());
        std::ofstream(Path(name), std::ios::binary) << content;
    }
    /// Empty if there is no such file.
    std::string Read(const std::string& name) const {
        std::ifstream file(Path(name), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    /// Every file with its content.
    std::map<std::string, std::string> Snapshot() const {
        std::map<std::string, std::string> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path_)) {
            std::error_code ignored;  // links may lead nowhere
            if (!entry.is_regular_file(ignored)) continue;
            const std::string name = entry.path().string().substr(path_.size() + 1);
            files[name] = Read(name);
        }
        return files;
    }

  private:
    std::string path_ = std::filesystem::temp_directory_path() / "bkfd-test-XXXXXX";
};

}  // namespace bkfd
