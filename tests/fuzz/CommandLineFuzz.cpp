// The command line: arguments are the input split at zero bytes.
#include <algorithm>
#include <cctype>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "NvrPrintHelper/NvrPrintHelper.h"
#include "SystemServices/Notice.h"
#include "logging/Logger.h"
#include "tests/fuzz/FuzzSupport.h"

namespace {

class QuietNotices : public nvrprint::platform::NoticePresenter {
public:
    void Show(const std::string&, const std::string&, nvrprint::platform::NoticeKind) override {}
};

// Options with effects outside the parse: help ends the process, a log file is written
// wherever it names. Inputs that use them are skipped.
bool HasOutsideEffects(const std::string& argument) {
    std::string name = argument.substr(std::min(argument.find_first_not_of('-'), argument.size()));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return name.starts_with("help") || name.starts_with("?") || name.starts_with("logfile");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzsupport::PrepareProcess();
    std::vector<std::string> arguments = {"NvrPrintHelper"};
    std::string current;
    for (size_t i = 0; i < size; ++i) {
        if (data[i] == 0) {
            arguments.push_back(current);
            current.clear();
        } else {
            current.push_back(static_cast<char>(data[i]));
        }
    }
    arguments.push_back(current);
    if (arguments.size() > 64) {
        return 0;
    }
    std::vector<const char*> argv;
    for (const std::string& argument : arguments) {
        if (HasOutsideEffects(argument)) {
            return 0;
        }
        argv.push_back(argument.c_str());
    }
    {
        nvrprint::platform::Platform os = nvrprint::platform::CreateSystemPlatform();
        os.notices = std::make_unique<QuietNotices>();
        nvrprint::NvrPrintHelper app(os);
        app.ParseCommandLine(static_cast<int>(argv.size()), argv.data());
    }
    // Options may have turned the logger's outputs on.
    nvrprint::Logger::Instance().SetModeFlags(0);
    nvrprint::Logger::Instance().SetLogLevel(0);
    return 0;
}
