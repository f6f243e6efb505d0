#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "common/HostFolder.h"
#include "platform/image/MachineImage.h"

namespace bkfd {

/// An image in a temporary folder of its own, empty but for what a test writes into it.
class ScratchImage : public HostFolder {
  public:
    ScratchImage() {
        Write("machine.json", R"({"family": "nt"})");
        std::filesystem::create_directories(Path("drives/c"));
    }

    /// The image as a machine; fails the test if it can't be loaded.
    std::unique_ptr<ImageMachine> Load() const {
        auto loaded = LoadMachineImage(Path());
        if (const auto* error = std::get_if<ImageError>(&loaded)) {
            ADD_FAILURE() << error->Describe();
            return nullptr;
        }
        return std::move(std::get<std::unique_ptr<ImageMachine>>(loaded));
    }
};

}  // namespace bkfd
