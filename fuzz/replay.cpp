// Runs a harness on the files of the folders given: what a fuzzer found stays found, with any
// compiler. Folders that are not there hold nothing; no file at all is a failure.
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size);

int main(int argc, char** argv) {
    int files = 0;
    for (int i = 1; i < argc; ++i) {
        std::error_code absent;
        for (const auto& entry : std::filesystem::directory_iterator(argv[i], absent)) {
            std::cerr << entry.path() << std::endl;  // the last one named is the culprit
            std::ifstream file(entry.path(), std::ios::binary);
            std::vector<unsigned char> input(std::istreambuf_iterator<char>(file), {});
            input.shrink_to_fit();  // for the address sanitizer
            LLVMFuzzerTestOneInput(input.data(), input.size());
            ++files;
        }
    }
    return files == 0;
}
