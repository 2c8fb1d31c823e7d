// The main of a fuzz target built without libFuzzer: runs the target once on
// every file named on the command line and every file in the directories
// named there, in name order, so that CTest replays the seeds and the kept
// crashers. A failing input ends the run by aborting, its name printed first.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

int main(int argc, char** argv)
{
    namespace fs = std::filesystem;
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        const fs::path argument(argv[i]);
        if (fs::is_directory(argument)) {
            for (const auto& entry : fs::directory_iterator(argument)) {
                if (entry.is_regular_file()) {
                    inputs.push_back(entry.path());
                }
            }
        } else {
            inputs.push_back(argument);
        }
    }
    std::sort(inputs.begin(), inputs.end());
    if (inputs.empty()) {
        std::cerr << "usage: " << argv[0] << " <input file or corpus directory>... (no input found)\n";
        return 1;
    }

    for (const auto& input : inputs) {
        std::ifstream file(input, std::ios::binary);
        if (!file) {
            std::cerr << "cannot read " << input << '\n';
            return 1;
        }
        const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
        std::cerr << "replaying " << input << '\n';
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    std::cout << "replayed " << inputs.size() << " inputs\n";
    return 0;
}
