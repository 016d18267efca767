// Files that are no plug-in for this host, each with its own sentence.
#include "host/Plugin.h"
#include "host/PluginFile.h"

#include <cstdlib>
#include <cstring>
#include <elf.h>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace testing;

namespace zebhost {
namespace {

std::string contentOf(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

/** A file with these bytes for as long as this lives. */
class AFile {
public:
    explicit AFile(const std::string& bytes) {
        int descriptor = mkstemp(mPath.data());
        EXPECT_EQ(write(descriptor, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        close(descriptor);
    }
    ~AFile() { std::filesystem::remove(mPath); }
    AFile(const AFile&) = delete;
    AFile& operator=(const AFile&) = delete;
    const std::string& path() const { return mPath; }

private:
    std::string mPath = "/tmp/plugin.XXXXXX";
};

/** The test plug-in with another byte at one place of its header. */
std::string altered(size_t at, unsigned char byte) {
    std::string bytes = contentOf(TEST_PLUGIN);
    bytes[at] = static_cast<char>(byte);
    return bytes;
}

unsigned char otherClass() {
    return contentOf(TEST_PLUGIN)[EI_CLASS] == ELFCLASS32 ? ELFCLASS64 : ELFCLASS32;
}

template <class Header, class Segment>
size_t endOfSegments(const std::string& file) {
    Header header{};
    std::memcpy(&header, file.data(), sizeof header);
    size_t end = 0;
    for (size_t i = 0; i < header.e_phnum; ++i) {
        Segment segment{};
        std::memcpy(&segment, file.data() + header.e_phoff + i * sizeof segment, sizeof segment);
        if (segment.p_type == PT_LOAD)
            end = std::max(end, static_cast<size_t>(segment.p_offset + segment.p_filesz));
    }
    return end;
}

/** Where the last byte lies that the loader maps. */
size_t endOfSegments(const std::string& file) { return endOfSegments<ElfW(Ehdr), ElfW(Phdr)>(file); }

void expectFault(const std::string& path, const std::string& sentence) {
    EXPECT_THAT([&] { Plugin plugin(path); }, ThrowsMessage<HostError>(HasSubstr(sentence))) << path;
}

TEST(APlugin, IsLoadedWithItsEntryFunction) {
    Plugin plugin(TEST_PLUGIN);

    EXPECT_NE(plugin.initialize(), nullptr);
    EXPECT_EQ(std::filesystem::canonical(plugin.file()), std::filesystem::canonical(TEST_PLUGIN));
}

TEST(AFaultyPlugin, HasASentenceOfItsOwn) {
    const AFile empty(""), text("#!/bin/sh\necho no plug-in, but long enough to be one's whole header\n");
    const AFile otherWidth(altered(EI_CLASS, otherClass()));
    const AFile otherMachine(altered(18, EM_SPARC)), program(altered(16, ET_EXEC));
    const AFile bigEndian(altered(EI_DATA, ELFDATA2MSB));
    const std::pair<std::string, const char*> rows[] = {
        {"/no/such/plugin.so", "there is no plug-in /no/such/plugin.so"},
        {"/proc/version/plugin.so", "there is no plug-in /proc/version/plugin.so"},
        {"/tmp", "/tmp is a folder: name the plug-in's file in it"},
        {"/proc/self/mem", "the plug-in /proc/self/mem can't be read: Input/output error"},
        {empty.path(), "is no plug-in: it is not an ELF file"},
        {text.path(), "is no plug-in: it is not an ELF file"},
        {otherWidth.path(), "a process loads its own width only"},
        {otherMachine.path(), "machine 2, and this machine's programs for"},
        {bigEndian.path(), "use the plug-in that was built for this machine"},
        {program.path(), "is no plug-in: it is an ELF file, but no shared library"},
        {NO_ENTRY_PLUGIN, "is no discoverer plug-in: it does not export ZEBDiscovererInitialize"},
        {NO_VERSION_PLUGIN, "exports ZEBDiscovererInitialize without a version"},
        {OTHER_VERSION_PLUGIN, "in the version DISCOVERY_2.0, but not in the version DISCOVERY_1.0"},
        {"libno-such-plugin.so", "there is no libno-such-plugin.so beside this program"},
    };
    for (const auto& [path, sentence] : rows)
        expectFault(path, sentence);
}

TEST(AFaultyPlugin, IsLeftToTheLoaderWhereItsTablesAreDamaged) {
    std::string bytes = contentOf(TEST_PLUGIN);
    bytes.resize(endOfSegments(bytes));
    const AFile withoutSections(bytes);

    EXPECT_EQ(inspectPlugin(withoutSections.path()).entryVersions, std::nullopt);
    EXPECT_NE(Plugin(withoutSections.path()).initialize(), nullptr);
}

// The loader maps a file that was cut off, and the process ends when it touches what is missing.
TEST(AFaultyPlugin, IsNotLoadedWhenItsSegmentsAreCutOff) {
    const std::string bytes = contentOf(PLUGIN);
    const size_t end = endOfSegments(bytes);
    for (size_t length = sizeof(ElfW(Ehdr)); length < end; length += length < 2000 ? 97 : 4099) {
        const AFile cut(bytes.substr(0, length));
        expectFault(cut.path(),
                    cut.path() + " is cut off: the file ends before its segments do; copy it again");
    }
    expectFault(AFile(bytes.substr(0, end - 1)).path(), "the file ends before its segments do");
    EXPECT_EQ(inspectPlugin(AFile(bytes.substr(0, end)).path()).fault, "");
    EXPECT_EQ(inspectPlugin(AFile(bytes.substr(0, bytes.size() - 1)).path()).fault, "");
}

TEST(AFaultyPlugin, IsNotWaitedForWhenItIsAFifo) {
    const AFile fifo("");
    std::filesystem::remove(fifo.path());
    ASSERT_EQ(mkfifo(fifo.path().c_str(), 0600), 0);

    expectFault(fifo.path(), fifo.path() + " is no plug-in: it is no file, but a device, a FIFO or a socket");
}

TEST(AnElfFile, ExportsASymbolInTheVersionsItDefines) {
    const std::string plugin = contentOf(TEST_PLUGIN);
    const char entry[] = "ZEBDiscovererInitialize";

    EXPECT_THAT(*exportedVersions(plugin, entry), ElementsAre("DISCOVERY_1.0"));
    EXPECT_THAT(*exportedVersions(contentOf(NO_VERSION_PLUGIN), entry), ElementsAre(""));
    // What it imports it does not export.
    EXPECT_THAT(*exportedVersions(plugin, "eventfd_write"), IsEmpty());
}

TEST(AnElfFile, IsReadWithinItsBytesHoweverItIsCut) {
    const std::string plugin = contentOf(TEST_PLUGIN);
    for (size_t length = 0; length < plugin.size(); length += length < 200 ? 1 : 997) {
        // A copy of exactly that length, so that a sanitizer sees a read behind its end.
        std::vector<char> bytes(plugin.begin(), plugin.begin() + static_cast<std::ptrdiff_t>(length));

        auto versions = exportedVersions({bytes.data(), bytes.size()}, "ZEBDiscovererInitialize");

        // What stands behind the tables may be missing.
        EXPECT_TRUE(!versions || versions == std::vector<std::string>{"DISCOVERY_1.0"}) << length;
    }
}

TEST(AnElfFile, IsNamedAsPeopleNameTheSystem) {
    EXPECT_EQ((ElfIdentity{32, true, ET_DYN, EM_ARM}).name(), "32-bit ARM");
    EXPECT_EQ((ElfIdentity{64, true, ET_DYN, EM_X86_64}).name(), "64-bit x86");
    EXPECT_EQ(ownElfIdentity().bits, static_cast<int>(sizeof(void*) * 8));
}

} // namespace
} // namespace zebhost
