// What a spectator asked of zebhost by further arguments, as far as it changes what becomes of phones.
#pragma once

#include "phones/PhoneFile.h"

#include <string>
#include <vector>

namespace zebphones {

class Asked {
public:
    explicit Asked(const std::vector<std::string>& hostArguments);

    // The rules by which zebhost may judge the phone: its file's, and what the arguments can make of it.
    std::vector<std::string> rulesFor(const PhoneFile& file) const;
    // What becomes of a phone that was judged so; "": something that no file foretells.
    std::string outcomeOf(const PhoneFile& file, const std::string& rule) const;

private:
    bool mDenies = false;
    bool mAllows = false;
    bool mOffersAll = false;
    bool mSwitchesTethers = false;
    bool mIsDry = false;
    bool mHasEmptyString = false;
};

} // namespace zebphones
