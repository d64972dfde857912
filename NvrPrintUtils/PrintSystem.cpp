#include "NvrPrintUtils/PrintSystem.h"

#include <cerrno>
#include <mutex>

namespace nvrprint {
namespace {

constexpr int32_t kNotImplemented = static_cast<int32_t>(0x80004001);

// Knows no printers at all.
class NoPrintSystem final : public PrintSystem {
public:
    std::unique_ptr<PrinterSession> OpenPrinter(const std::string&, int* error) override {
        *error = ENOENT;
        return nullptr;
    }
    std::unique_ptr<PrintTicketProvider> OpenPrintTicketProvider(const std::string&,
                                                                 int32_t* result) override {
        *result = kNotImplemented;
        return nullptr;
    }
};

std::mutex s_lock;
std::shared_ptr<PrintSystem> s_system = std::make_shared<NoPrintSystem>();

}  // namespace

PrintSystem& CurrentPrintSystem() {
    std::lock_guard lock(s_lock);
    return *s_system;
}

void InstallPrintSystem(std::shared_ptr<PrintSystem> system) {
    std::lock_guard lock(s_lock);
    s_system = system ? std::move(system) : std::make_shared<NoPrintSystem>();
}

}  // namespace nvrprint
