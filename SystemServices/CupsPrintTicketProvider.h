#pragma once

#include <memory>

#include "NvrPrintUtils/IppDevMode.h"
#include "NvrPrintUtils/PrinterSession.h"

namespace nvrprint::platform {

// A Print Ticket provider for a CUPS printer. Tickets carry the DEVMODE's standard features
// and, on a printer that can staple, its stapling; a ticket turned back into a DEVMODE lays
// its stapling over the DEVMODE last turned into a ticket, as the printer's driver-private
// staple option. A printer that cannot staple drops stapling on the way back.
std::unique_ptr<PrintTicketProvider> CreatePrintTicketProvider(StapleOption staple);

}  // namespace nvrprint::platform
