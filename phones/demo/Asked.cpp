#include "phones/demo/Asked.h"

#include <algorithm>
#include <string_view>

namespace zebphones {
namespace {

constexpr char kDenied[] = "denied";
constexpr char kNeverOffered[] = "never offered";

} // namespace

Asked::Asked(const std::vector<std::string>& hostArguments) {
    // "--deny 18d1" and "--deny=18d1".
    const auto has = [&hostArguments](std::string_view option) {
        return std::any_of(hostArguments.begin(), hostArguments.end(), [option](const std::string& word) {
            return word.substr(0, word.find('=')) == option;
        });
    };
    // A file can say all that the arguments can.
    const bool isConfigured = has("--config");
    mDenies = isConfigured || has("--deny");
    mAllows = isConfigured || has("--allow") || has("--allow-port");
    mOffersAll = isConfigured || has("--offer-all");
    mSwitchesTethers = isConfigured || has("--switch-tethers");
    mIsDry = has("--dry-run");
    // "--property aapmodel="
    mHasEmptyString = std::any_of(hostArguments.begin(), hostArguments.end(),
                                  [](const std::string& word) { return word.ends_with('='); });
}

std::vector<std::string> Asked::rulesFor(const PhoneFile& file) const {
    std::vector<std::string> rules = {file.expect.rule};
    if (mDenies)
        rules.emplace_back(kDenied);
    if (mAllows && !file.expect.offered)
        rules.emplace_back("allowed");
    if (mOffersAll && !file.expect.offered)
        rules.emplace_back("offer-all");
    return rules;
}

std::string Asked::outcomeOf(const PhoneFile& file, const std::string& rule) const {
    if (rule == kDenied || mIsDry)
        return kNeverOffered;
    const bool isTether = rule.starts_with("tether-") && !file.expect.offered;
    const bool isUnforetold = rule != file.expect.rule || (isTether && mSwitchesTethers);
    const bool isToldOtherwise = file.expect.interest == 30 && file.expect.offered && mHasEmptyString;
    return isUnforetold || isToldOtherwise ? "" : file.expect.outcome;
}

} // namespace zebphones
