/// Stands in for the fuzzing engine where the compiler has none: runs the files of the folders named, once each.

#include <filesystem>
#include <fstream>
#include <iterator>

#include "fuzz/Input.h"

int main(int argc, char** argv) {
    int runs = 0;
    for (int i = 1; i < argc; ++i) {
        for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
            std::ifstream file(entry.path(), std::ios::binary);
            const std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
            ++runs;
        }
    }
    oravo::fuzz::require(runs > 0, "there are inputs to run");
    return 0;
}
