// Runs a fuzz target over every cut of its corpus and a bounded number of mutants of it, the same
// ones each time: FuzzDriver ROUNDS [FOLDER]. The folder's files belong to the corpus.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "fuzz/Fuzzer.h"

namespace {

using bkfd::Bytes;

class Mutator {
  public:
    explicit Mutator(const std::vector<Bytes>& corpus) : corpus_(corpus) {}

    Bytes Next() {
        Bytes input = Pick(corpus_);
        for (std::size_t changes = 1 + Below(4); changes > 0 && !input.empty(); --changes) {
            Change(input);
        }
        return input;
    }

  private:
    /// Less than `end`. The library's distributions differ between its makers, this doesn't.
    std::size_t Below(std::size_t end) { return random_() % end; }

    template <class List>
    auto Pick(const List& list) -> decltype(list[0]) {
        return list[Below(std::size(list))];
    }

    void Change(Bytes& input) {
        static constexpr std::uint8_t kTelling[] = {0, 1, 0x7F, 0x80, 0xFF, '"', '\\', '\n', ']'};
        const std::size_t at = Below(input.size());
        const auto position = input.begin() + static_cast<std::ptrdiff_t>(at);
        const std::size_t count = std::min(1 + Below(16), input.size() - at);
        switch (Below(5)) {
            case 0:
                input[at] ^= static_cast<std::uint8_t>(1U << Below(8));
                break;
            case 1:
                std::fill_n(position, std::min<std::size_t>(count, 4), Pick(kTelling));
                break;
            case 2:
                input.erase(position, position + static_cast<std::ptrdiff_t>(count));
                break;
            case 3: {
                const Bytes part(position, position + static_cast<std::ptrdiff_t>(count));
                input.insert(input.begin() + static_cast<std::ptrdiff_t>(Below(input.size())),
                             part.begin(), part.end());
                break;
            }
            default: {  // the tail of another input
                const Bytes& other = Pick(corpus_);
                const std::size_t from = std::min(at, other.size());
                input.resize(at);
                input.insert(input.end(), other.begin() + static_cast<std::ptrdiff_t>(from),
                             other.end());
            }
        }
    }

    const std::vector<Bytes>& corpus_;
    std::mt19937_64 random_{20261116};
};

/// What earlier runs found, in an order that no file system decides.
std::vector<Bytes> FilesIn(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) paths.push_back(entry);
    std::ranges::sort(paths);
    std::vector<Bytes> files;
    for (const auto& path : paths) {
        std::ifstream file(path, std::ios::binary);
        files.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
    }
    return files;
}

/// A copy of exactly that length, so that a sanitizer sees a read behind its end.
void Run(Bytes input) {
    input.shrink_to_fit();
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

}  // namespace

int main(int argumentCount, char** arguments) {
    const long rounds = argumentCount > 1 ? std::strtol(arguments[1], nullptr, 10) : 0;
    std::vector<Bytes> corpus = FuzzCorpus();
    if (rounds <= 0 || corpus.empty()) {
        std::fprintf(stderr, "usage: %s ROUNDS [FOLDER]\n", arguments[0]);
        return 2;
    }
    if (argumentCount > 2) std::ranges::move(FilesIn(arguments[2]), std::back_inserter(corpus));
    for (const Bytes& input : corpus) {
        for (std::size_t length = 0; length <= input.size(); ++length) {
            Run(Bytes(input.begin(), input.begin() + static_cast<std::ptrdiff_t>(length)));
        }
    }
    Mutator mutator(corpus);
    for (long round = 0; round < rounds; ++round) Run(mutator.Next());
    std::printf("%zu inputs and %ld mutants\n", corpus.size(), rounds);
    return 0;
}
