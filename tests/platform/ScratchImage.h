#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "platform/image/MachineImage.h"

namespace bkfd {

/// An image in a temporary folder of its own, empty but for what a test writes into it.
class ScratchImage {
  public:
    ScratchImage() {
        char pattern[] = "/tmp/brackenfold-image-XXXXXX";
        path_ = mkdtemp(pattern);
        Write("machine.json", R"({"family": "nt"})");
        std::filesystem::create_directories(path_ + "/drives/c");
    }
    ~ScratchImage() { std::filesystem::remove_all(path_); }
    ScratchImage(const ScratchImage&) = delete;
    ScratchImage& operator=(const ScratchImage&) = delete;

    const std::string& Path() const { return path_; }

    void Write(const std::string& name, const std::string& content) {
        const std::filesystem::path file = path_ + '/' + name;
        std::filesystem::create_directories(file.parent_path());
        std::ofstream(file, std::ios::binary) << content;
    }

    std::string Read(const std::string& name) const {
        std::ifstream file(path_ + '/' + name, std::ios::binary);
        std::stringstream content;
        content << file.rdbuf();
        return content.str();
    }

    bool Has(const std::string& name) const { return std::filesystem::exists(path_ + '/' + name); }

    /// Every file of the image with its content.
    std::map<std::string, std::string> Snapshot() const {
        std::map<std::string, std::string> files;
        for (const auto& entry : std::filesystem::recursive_directory_iterator(path_))
            if (entry.is_regular_file()) {
                const std::string name = entry.path().string().substr(path_.size() + 1);
                files[name] = Read(name);
            }
        return files;
    }

    /// The image as a machine; fails the test if it can't be loaded.
    std::unique_ptr<ImageMachine> Load() const {
        auto loaded = LoadMachineImage(path_);
        if (const auto* error = std::get_if<ImageError>(&loaded)) {
            ADD_FAILURE() << error->Describe();
            return nullptr;
        }
        return std::move(std::get<std::unique_ptr<ImageMachine>>(loaded));
    }

  private:
    std::string path_;
};

}  // namespace bkfd
