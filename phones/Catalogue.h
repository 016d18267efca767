// The phones that are there to be simulated: a folder of files, one a phone. What is
// wrong with it is a std::runtime_error, with a text for people.
#pragma once

#include "phones/PhoneFile.h"

#include <filesystem>
#include <string>
#include <vector>

namespace zebphones {

class Catalogue {
public:
    // Empty: where defaultFolder() finds the files. Throws when there is no such folder.
    explicit Catalogue(std::filesystem::path folder = {});

    const std::filesystem::path& folder() const { return mFolder; }
    // Of every phone, in alphabetical order.
    std::vector<std::string> names() const;
    // For a name that is not there the error says which are.
    PhoneFile load(const std::string& name) const;

    // The environment's ZEBPHONES_MODELS; else what is installed with this program; else
    // the tree that the program was built in.
    static std::filesystem::path defaultFolder();

private:
    std::filesystem::path mFolder;
};

// A phone of the catalogue in its default place.
PhoneDescription loadPhone(const std::string& name);

} // namespace zebphones
