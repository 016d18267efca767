// A discoverer with a single handle, on the frame that all discoverers can share. It finds what is announced
// in a folder: each file there is an entity, named as the file, and what the file says is its connection
// command. So a script, or another program, can tell a host of things that no plug-in knows.
//
//     zebhost run --plugin libfolder-discoverer.so --property folder=/run/announced
//
// The frame keeps the host's tables, fills the entry points of this mode, and lets no exception out:
// operations may throw. What each operation and each helper means stands in zebdiscovery/interface.h and
// callbacks.h.
//
// Threads: all of it is called on the host's thread. Nothing here waits.
// Ownership: entities are ours until the host destroys them. A key that comes with a fetch goes back with the
// answer. Timer: there is one, beside the one handle; a file that is being written makes many events, and is
// read once, when it has been quiet for a moment.
#include "common/ZEBDiscovererImpl.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <sys/inotify.h>
#include <unistd.h>
#include <vector>

namespace {

constexpr ZEBDiscoverySDKTimeoutMicroseconds kQuiet = 50'000;

struct Announced {
    std::string name;
    std::string command;
    // The host has been told, and will destroy it when it likes.
    bool isLost = false;
};

std::string firstLineOf(const std::filesystem::path& file) {
    std::string line;
    std::ifstream stream(file);
    std::getline(stream, line);
    return line;
}

class FolderDiscoverer final : public zebdiscovery::ZEBDiscovererImpl {
public:
    FolderDiscoverer(ZEBDiscovererInterface* interfaceTable, size_t interfaceSize,
                     const ZEBDiscovererCallbacks* callbackTable, size_t callbackSize) :
        ZEBDiscovererImpl(interfaceTable, interfaceSize, callbackTable, callbackSize, false) {}
    ~FolderDiscoverer() override { closeHandle(); }

    // Before start, for there is no folder without it.
    ZEBDiscoverySDKError setProperty(const char* key, const char* value) override {
        if (key == nullptr)
            return ZEBDiscoverySDKErrorInvalidParameter;
        if (std::strcmp(key, "folder") != 0)
            return ZEBDiscoverySDKErrorNotImplemented;
        mFolder = value != nullptr ? value : "";
        return ZEBDiscoverySDKErrorNone;
    }

    void start() override {
        mHandle = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
        const bool watches = mHandle >= 0 && ::inotify_add_watch(mHandle, mFolder.c_str(),
                                                                 IN_CLOSE_WRITE | IN_MOVE | IN_DELETE) >= 0;
        if (!watches)
            logFormatted(ZEBDiscoveryLogSeverityError, "Can't watch \"%s\": %s", mFolder.c_str(),
                         std::strerror(errno));
        notifyStarted(watches ? ZEBDiscoverySDKErrorNone : ZEBDiscoverySDKErrorInvalidParameter);
        // What is there already: from the host's loop, as everything that comes later.
        if (watches)
            setTimer(0);
    }

    // Entities stay until the host destroys them.
    void stop() override {
        setTimer(ZEBDiscoverySDKTimeoutCancel);
        closeHandle();
        notifyStopped(ZEBDiscoverySDKErrorNone);
    }

    // The host reads through the pointer before each wait, so it must stay valid; -1 is no handle.
    ZEBDiscovererEventHandle* getEventHandle() override { return &mHandle; }

    // The folder has changed. Which file it was does not matter: it is looked through as a whole, later.
    void handleEvent() override {
        alignas(inotify_event) char events[4096];
        while (::read(mHandle, events, sizeof events) > 0) {
        }
        setTimer(kQuiet);
    }

    void handleTimeout() override {
        std::map<std::string, std::string> present;
        for (const auto& entry : std::filesystem::directory_iterator(mFolder)) {
            if (entry.is_regular_file())
                present.emplace(entry.path().filename(), firstLineOf(entry.path()));
        }
        loseAllBut(present);
        addNew(present);
    }

    void fetchEntityValue(ZEBDiscovererEntity* pEntity, char* key, ZEBDiscoverySDKRequest* request) override {
        const Announced& announced = *find(pEntity)->second;
        const std::string* value = nullptr;
        if (std::strcmp(key, "zebcmd") == 0)
            value = &announced.command;
        else if (std::strcmp(key, "name") == 0 || std::strcmp(key, "id") == 0)
            value = &announced.name;
        // The answer may come later and from elsewhere; here it is known at once. The strings go to the host.
        if (value != nullptr)
            entityFetchComplete(pEntity, key, request, ZEBDiscoverySDKErrorNone,
                                allocString(value->c_str(), -1));
        else
            entityFetchComplete(pEntity, key, request, ZEBDiscoverySDKErrorNotImplemented, nullptr);
    }

    // Also from inside entityLost, if the host likes.
    void destroyEntity(ZEBDiscovererEntity* pEntity) override { mEntities.erase(find(pEntity)); }

private:
    // The host's name for an entity is its address, which therefore must not move.
    using Entities = std::map<ZEBDiscovererEntity*, std::unique_ptr<Announced>>;

    Entities::iterator find(ZEBDiscovererEntity* pEntity) { return mEntities.find(pEntity); }

    // A changed file is another entity: the host has read the old one's command.
    void loseAllBut(const std::map<std::string, std::string>& present) {
        std::vector<ZEBDiscovererEntity*> lost;
        for (const auto& [pEntity, announced] : mEntities) {
            const auto file = present.find(announced->name);
            if (!announced->isLost && (file == present.end() || file->second != announced->command))
                lost.push_back(pEntity);
        }
        // Apart from the search, because the host may destroy entities from inside the call.
        for (ZEBDiscovererEntity* pEntity : lost) {
            if (const auto entry = find(pEntity); entry != mEntities.end()) {
                entry->second->isLost = true;
                entityLost(pEntity);
            }
        }
    }

    void addNew(const std::map<std::string, std::string>& present) {
        for (const auto& [name, command] : present) {
            if (isKnown(name, command))
                continue;
            auto announced = std::make_unique<Announced>(Announced{name, command, false});
            auto* pEntity = reinterpret_cast<ZEBDiscovererEntity*>(announced.get());
            mEntities.emplace(pEntity, std::move(announced));
            addEntity(pEntity);
        }
    }

    bool isKnown(const std::string& name, const std::string& command) const {
        return std::any_of(mEntities.begin(), mEntities.end(), [&](const auto& entry) {
            const Announced& known = *entry.second;
            return !known.isLost && known.name == name && known.command == command;
        });
    }

    void closeHandle() {
        if (mHandle != ZEBDiscovererNoEventHandle)
            ::close(mHandle);
        mHandle = ZEBDiscovererNoEventHandle;
    }

    ZEBDiscovererEventHandle mHandle = ZEBDiscovererNoEventHandle;
    std::string mFolder;
    Entities mEntities;
};

} // namespace

// The one function that a host looks up. The host's ZEBDiscoverer* is the address of the frame's class.
extern "C" ZEBDiscoverer* ZEBDiscovererInitialize(ZEBDiscovererInterface* interfaceTable,
                                                  size_t interfaceSize,
                                                  const ZEBDiscovererCallbacks* callbackTable,
                                                  size_t callbackSize) {
    zebdiscovery::ZEBDiscovererImpl* pDiscoverer =
        new (std::nothrow) FolderDiscoverer(interfaceTable, interfaceSize, callbackTable, callbackSize);
    return reinterpret_cast<ZEBDiscoverer*>(pDiscoverer);
}
