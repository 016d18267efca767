#include "phones/Catalogue.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <utility>

namespace zebphones {
namespace fs = std::filesystem;
namespace {

constexpr char kEnding[] = ".toml";

// Relative to the program's folder (PREFIX/bin) and to one of the folders above a build.
constexpr char kInstalled[] = "../share/zebphones/models";
constexpr char kInTheTree[] = "phones/models";

std::string contentOf(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(stream), {}};
    if (!stream)
        throw std::runtime_error(file.string() + ": can't be read");
    return text;
}

std::string joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : ", ") + word;
    return text;
}

} // namespace

fs::path Catalogue::defaultFolder() {
    if (const char* told = std::getenv("ZEBPHONES_MODELS"))
        return told;
    std::error_code ignored;
    const fs::path program = fs::read_symlink("/proc/self/exe", ignored).parent_path();
    if (const fs::path installed = program / kInstalled; fs::is_directory(installed, ignored))
        return installed.lexically_normal();
    for (fs::path above = program; above.has_relative_path(); above = above.parent_path()) {
        if (fs::is_directory(above / kInTheTree, ignored))
            return above / kInTheTree;
    }
    return {};
}

Catalogue::Catalogue(fs::path folder) : mFolder(folder.empty() ? defaultFolder() : std::move(folder)) {
    std::error_code ignored;
    if (mFolder.empty())
        throw std::runtime_error("no catalogue of phones found: name its folder in ZEBPHONES_MODELS");
    if (!fs::is_directory(mFolder, ignored))
        throw std::runtime_error(mFolder.string() + ": no such folder of phones");
}

std::vector<std::string> Catalogue::names() const {
    std::vector<std::string> all;
    for (const fs::directory_entry& entry : fs::directory_iterator(mFolder)) {
        if (entry.path().extension() == kEnding)
            all.push_back(entry.path().stem());
    }
    std::sort(all.begin(), all.end());
    return all;
}

PhoneFile Catalogue::load(const std::string& name) const {
    const std::vector<std::string> all = names();
    if (!std::binary_search(all.begin(), all.end(), name))
        throw std::runtime_error("no phone " + name + " in " + mFolder.string() +
                                 "; there are: " + joined(all));
    const fs::path file = mFolder / (name + kEnding);
    return parsePhoneFile(contentOf(file), file);
}

PhoneDescription loadPhone(const std::string& name) { return Catalogue().load(name).phone; }

} // namespace zebphones
