#include "host/Plugin.h"
#include "host/Terminal.h"
#include "host/commands/Commands.h"
#include "host/commands/Json.h"
#include "phones/Catalogue.h"

#include <algorithm>

namespace zebhost {
namespace {

std::vector<zebphones::PhoneFile> loadAll() try {
    const zebphones::Catalogue catalogue;
    std::vector<zebphones::PhoneFile> phones;
    for (const std::string& name : catalogue.names())
        phones.push_back(catalogue.load(name));
    return phones;
} catch (const std::runtime_error& error) {
    throw HostError(std::string(error.what()) + "; it is installed with the package zebphones");
}

} // namespace

ExitStatus perform(const PhonesOptions& options, std::FILE* out) {
    const std::vector<zebphones::PhoneFile> phones = loadAll();
    size_t width = 0;
    for (const zebphones::PhoneFile& phone : phones)
        width = std::max(width, phone.name.size());
    for (const zebphones::PhoneFile& phone : phones) {
        if (options.json)
            std::fprintf(out, "%s\n", jsonOf(phone).c_str());
        else
            std::fprintf(out, "%-*s  %s\n%*s  -> %s (%s)\n", static_cast<int>(width), phone.name.c_str(),
                         printable(phone.about).c_str(), static_cast<int>(width), "",
                         phone.expect.outcome.c_str(), phone.expect.rule.c_str());
    }
    if (!options.json)
        std::fprintf(out, "\nTo see one at work: zebhost demo --phone NAME\n");
    return kExitDone;
}

} // namespace zebhost
