#include "usb/TcpUsbEntity.h"
#include "tests/support/Assertions.h"
#include "tests/usb/Network.h"
#include "tests/usb/ScriptedEntity.h"
#include "tests/usb/SystemCalls.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace testing;
using namespace zebtest;
using zebdiscoverer_usb::TcpUsbEntity;

namespace {

constexpr char kAndroid[] = "192.168.42.129", kOther[] = "169.254.2.1";
constexpr std::size_t kMaxRecords = 1024 / sizeof(ifreq); // 32 where a record has 32 bytes

class OpenTcpUsbEntity : public TcpUsbEntity {
public:
    using TcpUsbEntity::doSetZebCmd;
    using TcpUsbEntity::hasActiveHandles;
    using TcpUsbEntity::setOwnEventHandle;
    using TcpUsbEntity::TcpUsbEntity;
};

int openDescriptors() {
    int count = 0;
    for (int descriptor = 0; descriptor < 256; ++descriptor)
        count += fcntl(descriptor, F_GETFD) != -1 ? 1 : 0;
    return count;
}

class ATetheredPhone : public Test, protected DiscovererRig {
protected:
    void TearDown() override {
        systemCalls() = {};
        host.destroy();
        EXPECT_THAT(host.complaints(), IsEmpty());
    }

    Status scan(const char* phone = kAndroid) {
        OpenTcpUsbEntity entity(*discoverer, *discoverer, device, phone);
        return entity.openPort();
    }
    /** The value of "zebcmd" once a scan has found the phone's interface. */
    std::string commandOf(const char* phone) {
        OpenTcpUsbEntity entity(*discoverer, *discoverer, device, phone);
        host.fetch(toHost(&entity), "zebcmd");
        EXPECT_EQ(entity.openPort(), Status::Done);
        EXPECT_TRUE(entity.handleTimeout());
        for (const char* command : {"zebcmd:v=1;t=USBAND", "zebcmd:v=1;t=USBWM"}) {
            if (host.callsOf("fetchComplete").back().arguments[4] == Argument(command))
                return command;
        }
        return "";
    }

    /** Everything since the last time, but the questions whether a severity is wanted. */
    std::vector<Call> taken() { return host.takeRecord({Kind::LevelQuery}); }
    static Call line(int severity, const std::string& text) { return {"log", {severity, text}}; }
    static Call socketMade() { return {"socket", {AF_INET, int{SOCK_DGRAM}, 0}}; }
    static Call listAsked() { return {"ioctl", {systemCalls().lastSocket, SIOCGIFCONF, 1024}}; }
    static Call closed(int descriptor) { return {"close", {descriptor}}; }

    Network network;
    DeviceRecord device{1, usbProperties("18d1", "4ee2"), tetheringDescriptors()};
};

TEST_F(ATetheredPhone, IsNotThereWithoutItsInterface) {
    EXPECT_EQ(scan(), Status::TryLater);
    network.add("127.0.0.1");
    network.add("10.0.0.1");

    EXPECT_EQ(scan(), Status::TryLater);
    EXPECT_EQ(scan(kOther), Status::TryLater);
    EXPECT_THAT(host.logLines(), IsEmpty());
}

TEST_F(ATetheredPhone, IsThereOnceAnInterfaceHasAnAddressOnItsSubnet) {
    network.add("192.168.42.23");
    OpenTcpUsbEntity entity(*discoverer, *discoverer, device, kAndroid);

    EXPECT_EQ(entity.openPort(), Status::Done);

    EXPECT_THAT(host.calls(), ElementsAre(Call{"setEntityTimer", {toHost(&entity), 500000}}));
    EXPECT_THAT(host.logLines(),
                ElementsAre(LogLine{80, "Found interface for entity with IP address 192.168.42.129"}));
    EXPECT_THAT(host.strings.outstanding(), ElementsAre("zebcmd:v=1;t=USBAND"));
}

TEST_F(ATetheredPhone, IsFoundByASocketThatIsDescriptorZero) {
    network.add("192.168.42.23");
    const int standardInput = dup(0);
    close(0);

    const Status status = scan();
    const bool closed = fcntl(0, F_GETFD) == -1;
    dup2(standardInput, 0);
    close(standardInput);

    EXPECT_EQ(status, Status::Done);
    EXPECT_TRUE(closed);
}

TEST_F(ATetheredPhone, IsReachedByTheCommandOfItsKind) {
    network.add("192.168.42.23");
    network.add("169.254.2.9");

    EXPECT_EQ(commandOf(kAndroid), "zebcmd:v=1;t=USBAND");
    EXPECT_EQ(commandOf(kOther), "zebcmd:v=1;t=USBWM");
    EXPECT_TRUE(host.hasLogged(80, "Found interface for entity with IP address 169.254.2.1"));
}

TEST_F(ATetheredPhone, IsSoughtStepByStep) {
    network.add("192.168.42.23");
    network.add("192.168.42.24");
    OpenTcpUsbEntity entity(*discoverer, *discoverer, device, kAndroid);
    taken();

    entity.openPort();

    EXPECT_EQ(taken(), (std::vector<Call>{
                           socketMade(),
                           listAsked(),
                           closed(systemCalls().lastSocket),
                           line(80, "Found interface for entity with IP address 192.168.42.129"),
                           {"allocString", {"zebcmd:v=1;t=USBAND", -1}},
                           {"setEntityTimer", {toHost(&entity), 500'000}},
                       }))
        << "the first of the two is enough";
}

TEST_F(ATetheredPhone, IsSoughtInSilenceWhereThereIsNone) {
    OpenTcpUsbEntity entity(*discoverer, *discoverer, device, kAndroid);
    taken();

    entity.openPort();

    EXPECT_EQ(taken(), (std::vector<Call>{socketMade(), listAsked(), closed(systemCalls().lastSocket)}));
}

TEST_F(ATetheredPhone, ClosesItsOwnHandleBeforeItCancelsItsTimer) {
    OpenTcpUsbEntity entity(*discoverer, *discoverer, device, kAndroid);
    const int descriptor = dup(2);
    entity.setOwnEventHandle(descriptor);
    taken();

    entity.stop();

    EXPECT_EQ(taken(), (std::vector<Call>{closed(descriptor), {"setEntityTimer", {toHost(&entity), -1}}}));
}

struct PrefixRow {
    const char* phone;
    const char* interface;
    Status status;
};

const PrefixRow kPrefixes[] = {
    {kAndroid, "192.168.42.1", Status::Done},    {kAndroid, "192.168.42.255", Status::Done},
    {kAndroid, "192.168.4.2", Status::TryLater}, {kAndroid, "192.168.43.42", Status::TryLater},
    {kAndroid, "92.168.42.1", Status::TryLater}, {kAndroid, "10.192.168.42", Status::TryLater},
    {kAndroid, "169.254.2.1", Status::TryLater}, {kOther, "169.254.2.7", Status::Done},
    {kOther, "169.254.20.1", Status::Done},      {kOther, "169.254.25.7", Status::Done},
    {kOther, "169.254.29.1", Status::Done},      {kOther, "169.254.200.1", Status::Done},
    {kOther, "169.254.255.1", Status::Done},     {kOther, "169.254.19.1", Status::TryLater},
    {kOther, "169.254.30.1", Status::TryLater},  {kOther, "169.254.1.2", Status::TryLater},
    {kOther, "192.168.42.23", Status::TryLater},
};

TEST_F(ATetheredPhone, IsRecognisedByTheBeginningOfAnAddressAsText) {
    for (const PrefixRow& row : kPrefixes) {
        SCOPED_TRACE(row.interface);
        { const Network cleared = Network(); }
        network.add(row.interface);

        EXPECT_EQ(scan(row.phone), row.status);

        network.~Network();
        new (&network) Network;
    }
}

TEST_F(ATetheredPhone, IsFoundAmongAsManyRecordsAsFit) {
    for (std::size_t i = 1; i < kMaxRecords; ++i)
        network.add(std::to_string(10 + i) + ".0.0.1"); // a network each, or it would come last
    network.add("192.168.42.23");
    ASSERT_EQ(Network::addresses().size(), kMaxRecords);
    ASSERT_EQ(Network::addresses().back(), "192.168.42.23");

    EXPECT_EQ(scan(), Status::Done);
}

TEST_F(ATetheredPhone, IsNotFoundBehindThem) {
    for (std::size_t i = 1; i <= kMaxRecords; ++i)
        network.add(std::to_string(10 + i) + ".0.0.1"); // a network each, or it would come last
    network.add("192.168.42.23");
    ASSERT_EQ(Network::addresses().size(), kMaxRecords + 1);
    ASSERT_EQ(Network::addresses().back(), "192.168.42.23");

    EXPECT_EQ(scan(), Status::TryLater);
}

TEST_F(ATetheredPhone, IsSoughtWithoutLeavingDescriptorsOpen) {
    const int before = openDescriptors();

    scan();
    network.add("192.168.42.23");
    scan();

    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ATetheredPhone, IsSoughtAgainLaterWhenThereIsNoSocket) {
    systemCalls().socketError = EMFILE;

    OpenTcpUsbEntity entity(*discoverer, *discoverer, device, kAndroid);
    taken();

    EXPECT_EQ(entity.openPort(), Status::TryLater);
    EXPECT_EQ(entity.openPort(), Status::TryLater);

    const Call said =
        line(10, "Socket returned error " + std::to_string(EMFILE) + ": " + std::strerror(EMFILE));
    EXPECT_EQ(taken(), (std::vector<Call>{socketMade(), said, socketMade(), said})) << "each time";
}

TEST_F(ATetheredPhone, IsSoughtAgainLaterWhenTheListFailsAndTheSocketStaysOpen) {
    systemCalls().ioctlError = EPERM;
    const int before = openDescriptors();
    OpenTcpUsbEntity entity(*discoverer, *discoverer, device, kAndroid);
    taken();

    EXPECT_EQ(entity.openPort(), Status::TryLater);
    const int after = openDescriptors();

    EXPECT_EQ(taken(),
              (std::vector<Call>{socketMade(), listAsked(),
                                 line(10, "ioctl(SIOCGIFCONF) returned error " + std::to_string(EPERM) +
                                              ": " + std::strerror(EPERM))}));
    EXPECT_EQ(after, before + 1);
    while (openDescriptors() > before) { // ours are the highest
        int highest = 255;
        while (fcntl(highest, F_GETFD) == -1)
            --highest;
        close(highest);
    }
}

TEST_F(ATetheredPhone, TruncatesAnAddressAt31CharactersAndStopsWhenItIsNotKnown) {
    const std::string text(40, '1');
    OpenTcpUsbEntity entity(*discoverer, *discoverer, device, text.c_str());
    host.callbacks.log = nullptr;
    host.on["log"] = [&] { std::fprintf(stderr, "log: %s\n", host.logLines().back().text.c_str()); };

    EXPECT_ASSERTION(entity.doSetZebCmd(), "usb/TcpUsbEntity\\.cpp", "false");
    EXPECT_DEATH(entity.doSetZebCmd(), "log: The IP address '1{31}' is not known\n");
}

TEST_F(ATetheredPhone, IsNoOtherThanAPlainEntity) {
    OpenTcpUsbEntity entity(*discoverer, *discoverer, device, kAndroid);
    int handle = 5;

    EXPECT_EQ(entity.doHandleEvent(&handle), Status::TryLater);
    EXPECT_FALSE(entity.usesMultipleHandles());
    ASSERT_NE(entity.getEventHandle(), nullptr);
    EXPECT_EQ(*entity.getEventHandle(), -1);
    EXPECT_FALSE(entity.hasActiveHandles());
    EXPECT_FALSE(entity.isConnectionPassPossible());
    EXPECT_EQ(entity.setPassword("x"), 9);
    EXPECT_TRUE(entity.takePublishFlag());
}

// As the host sees it.

class AnOfferedTetheredPhone : public ATetheredPhone {
protected:
    void offer() {
        host.entry.offerDevice(host.discoverer, host.provider, device);
        ASSERT_EQ(host.entities().size(), 1U);
        entity = host.entities()[0];
    }
    std::vector<Argument> lastAnswer() { return host.callsOf("fetchComplete").back().arguments; }
    ZEBDiscovererEntity* entity = nullptr;
};

TEST_F(AnOfferedTetheredPhone, IsLostAfter21AttemptsASecondApart) {
    const int before = systemCalls().sockets;
    offer();

    host.advance(19'999'999);
    EXPECT_THAT(host.callsOf("entityLost"), IsEmpty());
    EXPECT_EQ(systemCalls().sockets - before, 20);
    host.advance(1);

    EXPECT_EQ(systemCalls().sockets - before, 21);
    EXPECT_THAT(host.callsOf("entityLost"), ElementsAre(Call{"entityLost", {entity}}));
    host.destroyEntity(entity);
}

TEST_F(AnOfferedTetheredPhone, AnswersHalfASecondAfterItsInterfaceAppeared) {
    offer();
    const void* request = host.fetch(entity, "zebcmd");
    host.advance(3'500'000);
    network.add("192.168.42.23");

    host.advance(999'999); // the scan is at 4 s, the answer half a second later
    EXPECT_THAT(host.callsOf("fetchComplete"), IsEmpty());
    host.advance(1);

    EXPECT_EQ(lastAnswer(), (std::vector<Argument>{entity, "zebcmd", request, 0, "zebcmd:v=1;t=USBAND"}));
}

TEST_F(AnOfferedTetheredPhone, DropsItsCommandWhenTheInterfaceDisappeared) {
    network.add("192.168.42.23");
    offer();
    host.fetch(entity, "zebcmd");
    host.advance(500'000);
    host.fetch(entity, "zebcmd"); // stops the entity
    EXPECT_EQ(host.callsOf("fetchComplete").size(), 2U);
    network.clear();

    const void* request = host.fetch(entity, "zebcmd");
    host.advance(5'000'000);
    EXPECT_EQ(host.callsOf("fetchComplete").size(), 2U);
    network.add("192.168.42.24");
    host.advance(1'500'000);

    EXPECT_EQ(lastAnswer(), (std::vector<Argument>{entity, "zebcmd", request, 0, "zebcmd:v=1;t=USBAND"}));
}

TEST_F(AnOfferedTetheredPhone, IsStartedStepByStep) {
    network.add("192.168.42.23");
    taken();

    offer();

    EXPECT_EQ(taken(), (std::vector<Call>{
                           line(30, "Found an Android device in tethering mode"),
                           {"addEntity", {host.discoverer, entity}},
                           {"setEntityTimer", {entity, -1}},
                           socketMade(),
                           listAsked(),
                           closed(systemCalls().lastSocket),
                           line(80, "Found interface for entity with IP address 192.168.42.129"),
                           {"allocString", {"zebcmd:v=1;t=USBAND", -1}},
                           {"setEntityTimer", {entity, 500'000}},
                           line(80, "Port opened successfully"),
                       }));
}

TEST_F(AnOfferedTetheredPhone, IsPublishedAtOnceAndCantPassItsConnection) {
    offer();

    EXPECT_THAT(host.callsOf("addEntity"), ElementsAre(Call{"addEntity", {host.discoverer, entity}}));
    host.fetch(entity, "connectionPassPossible");
    EXPECT_EQ(lastAnswer()[4], Argument("n"));
}

} // namespace
