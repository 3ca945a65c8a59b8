// Feeds files to a fuzz target's entry point without libFuzzer, so the checked-in corpus runs as an
// ordinary test under any compiler.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

/// The regular files named on the command line or directly inside the named directories, sorted so
/// every run replays them in the same order.
std::vector<std::filesystem::path> inputsOf(int argc, char** argv) {
    std::vector<std::filesystem::path> inputs;
    for (int i = 1; i < argc; ++i) {
        const std::filesystem::path argument = argv[i];
        if (!std::filesystem::is_directory(argument)) {
            inputs.push_back(argument);
            continue;
        }
        for (const auto& entry : std::filesystem::directory_iterator(argument)) {
            if (entry.is_regular_file()) {
                inputs.push_back(entry.path());
            }
        }
    }
    std::sort(inputs.begin(), inputs.end());
    return inputs;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: %s CORPUS_DIRECTORY_OR_FILE...\n", argv[0]);
        return 2;
    }
    std::vector<std::filesystem::path> inputs;
    try {
        inputs = inputsOf(argc, argv);
    } catch (const std::filesystem::filesystem_error& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    // An empty corpus is a packaging mistake, not a pass.
    if (inputs.empty()) {
        std::fprintf(stderr, "no inputs found\n");
        return 1;
    }
    for (const auto& input : inputs) {
        std::ifstream file(input, std::ios::binary);
        if (!file) {
            std::fprintf(stderr, "cannot read %s\n", input.c_str());
            return 1;
        }
        // An exactly sized copy, so a sanitizer sees any read past the end of the input.
        const std::vector<std::uint8_t> bytes{std::istreambuf_iterator<char>(file),
                                              std::istreambuf_iterator<char>()};
        std::fprintf(stderr, "replaying %s (%zu bytes)\n", input.c_str(), bytes.size());
        LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
    }
    std::fprintf(stderr, "replayed %zu inputs\n", inputs.size());
    return 0;
}
