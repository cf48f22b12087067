#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "vesko/vesko3/log.h"

// Splits the input at zero bytes into the words of a command. Whatever they are, the settings stay
// usable: a record can be printed after each command.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace Tovra::Vesko;
    static const bool s_quiet = [] { return std::freopen("/dev/null", "w", stdout) != nullptr; }();
    if (!s_quiet) return 0;

    std::vector<std::string> words(1);
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == 0) {
            words.emplace_back();
        } else {
            words.back() += static_cast<char>(data[i]);
        }
    }
    if (words[0] == "-logpath") return 0;  // would write files of any name
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    setLogFilter(static_cast<int>(arguments.size()), arguments.data());
    logFilter(3, words.back().c_str(), "f", "F", 1, "v", "%s\n", words[0].c_str());
    return 0;
}
