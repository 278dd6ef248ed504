#include "device/device.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "device/annex_b.hpp"
#include "scripted_host.hpp"
#include "tests/support/temporary_folder.hpp"
#include "video_sample.hpp"

namespace quillon::device {
namespace {

using testing::HasSubstr;
using wire::MessageType;

std::string contentOf(const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
}

uint8_t halves(int, int x, int) {
    return x < 160 ? 235 : 16;
}

class DeviceTest : public testing::Test {
  protected:
    DeviceTest() {
        options_.bind = "127.0.0.1";
        options_.port = 0;
        options_.headless = true;
        options_.summaryFile = folder_ / "summary.json";
    }

    void start() {
        device_.emplace(options_, Device::Shown::whenDecoded);
        device_->start();
    }
    void addFault(std::string_view fault) { ASSERT_TRUE(device::addFault(options_.faults, fault)); }

    std::string summary() {
        device_->stop();
        device_->writeResults();
        return contentOf(*options_.summaryFile);
    }

    const test::TemporaryFolder folder_;
    Options options_;
    std::optional<Device> device_;
};

/// With a stream to decode.
class DeviceStreamTest : public DeviceTest {
  protected:
    void SetUp() override {
        if (sample_.frames.empty()) GTEST_SKIP() << "libavcodec has no libx264 here";
    }

    void sendStart(ScriptedHost& host) const {
        host.send(MessageType::linkName, "USB");
        host.send(MessageType::settingsLine, "1024×768 | Smooth Off | Fit");
        host.send(MessageType::overlay, 0, Bytes{1});
        host.send(MessageType::smoothing, 0, Bytes{3});
        host.send(MessageType::codecConfiguration, 0, sample_.parameterSets);
    }
    void sendFrame(ScriptedHost& host, size_t index) const {
        host.send(MessageType::videoFrame, 1000 * (index + 1), sample_.frames[index]);
    }

    const VideoSample sample_ = encodeSample({320, 240}, 4, halves);
};

TEST_F(DeviceTest, GreetsBeforeAnythingElse) {
    start();
    ScriptedHost host(device_->port());
    EXPECT_EQ(host.readGreeting(), "Quillon-Device 2 quillon-device/1 display 2048x1536");
}

TEST_F(DeviceTest, KeepsTheLinkAlive) {
    start();
    ScriptedHost host(device_->port());
    host.readGreeting();
    for (int i = 0; i < 2; ++i) {
        const auto message = host.read();
        ASSERT_TRUE(message);
        EXPECT_EQ(message->header, (wire::Header{15, 0, 0}));
    }
}

TEST_F(DeviceTest, TakesHostsOneAfterAnother) {
    start();
    ScriptedHost second = [this] {
        ScriptedHost first(device_->port());
        first.readGreeting();
        ScriptedHost waiting(device_->port());
        waiting.setPatience(0.2);
        EXPECT_FALSE(waiting.readGreeting()) << "one host at a time";
        waiting.setPatience(10);
        return waiting;
    }();
    EXPECT_TRUE(second.readGreeting());
    EXPECT_THAT(summary(), HasSubstr(R"("connections": 2)"));
}

TEST_F(DeviceTest, SendsWhatItsScriptSays) {
    options_.script = {{{}, MessageType::input, wire::inputPayload({wire::Input::press, 0.5F, 0.25F, 0, 0})},
                       {std::chrono::milliseconds(50), MessageType::panelReport, {'h', 'i'}}};
    start();
    ScriptedHost host(device_->port());
    host.readGreeting();
    const auto touch = host.readUntil(MessageType::input);
    ASSERT_TRUE(touch);
    EXPECT_EQ(wire::parseInput(touch->payload)->y, 0.25F);
    EXPECT_EQ(host.readUntil(MessageType::panelReport)->payload, (Bytes{'h', 'i'}));
}

TEST_F(DeviceTest, ConvertsAFingerOnThePanelToTheDisplay) {
    options_.script = {{std::chrono::milliseconds(500),
                        MessageType::input,
                        {},
                        ScriptedMessage::Finger{wire::Input::press, {0.25, 0.25}}}};
    start();
    ScriptedHost host(device_->port());
    host.readGreeting();
    host.send(MessageType::settingsLine, "1600×1000 | Smooth Off | Fit");  // on 2048x1536
    const auto touch = host.readUntil(MessageType::input);
    ASSERT_TRUE(touch);
    EXPECT_FLOAT_EQ(wire::parseInput(touch->payload)->x, 0.25F);
    EXPECT_FLOAT_EQ(wire::parseInput(touch->payload)->y, 0.2F);
}

TEST_F(DeviceTest, ClosesTheLinkOnALengthThatNoHostSends) {
    start();
    ScriptedHost host(device_->port());
    host.readGreeting();
    host.sendBytes(Bytes{2, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_TRUE(host.sawEnd());
    EXPECT_THAT(summary(), HasSubstr(R"("protocolErrors": 1)"));
}

TEST_F(DeviceTest, SurvivesPayloadsThatMakeNoSense) {
    start();
    ScriptedHost host(device_->port());
    host.readGreeting();
    for (int type = 0; type < 256; ++type) {
        for (const Bytes& payload : {Bytes{}, Bytes{0xFF}, Bytes(9, 0xFF), Bytes(64, 0x7F)}) {
            host.send(static_cast<MessageType>(type), ~uint64_t{0}, payload);
        }
    }
    host.send(MessageType::linkName, "still here");
    ASSERT_TRUE(host.readUntil(MessageType::keepAlive));
    ASSERT_TRUE(host.readUntil(MessageType::keepAlive));
    EXPECT_THAT(summary(), HasSubstr(R"("link": "still here")"));
}

TEST_F(DeviceTest, CannotListenWhereAnotherDoes) {
    start();
    Options same = options_;
    same.port = device_->port();
    Device other(same, Device::Shown::whenDecoded);
    EXPECT_THROW(other.start(), std::runtime_error);
}

TEST_F(DeviceTest, SaysWhyAFileCannotBeWritten) {
    options_.recordFile = folder_ / "missing" / "file";
    EXPECT_THROW(Device(options_, Device::Shown::whenDecoded), std::runtime_error);
}

TEST_F(DeviceTest, ASnapshotNeedsAPicture) {
    options_.snapshotFile = folder_ / "picture.png";
    start();
    EXPECT_THROW(summary(), std::runtime_error);
    EXPECT_THAT(contentOf(*options_.summaryFile), HasSubstr(R"("framesShown": 0)"))
        << "the summary comes first";
}

TEST_F(DeviceStreamTest, AcknowledgesEachShownFrameWithItsTime) {
    start();
    ScriptedHost host(device_->port());
    host.readGreeting();
    sendStart(host);
    for (size_t i = 0; i < 4; ++i) {
        sendFrame(host, i);
        const auto acknowledged = host.readUntil(MessageType::acknowledgement);
        ASSERT_TRUE(acknowledged);
        EXPECT_EQ(acknowledged->header.pts, 1000 * (i + 1));
    }
    host.send(MessageType::dropCount, 0, wire::dropCountPayload(5));
    host.send(MessageType::cursor, 0, wire::cursorPayload({true, 0.5, 0.5}));
    sendFrame(host, 0);
    ASSERT_TRUE(host.readUntil(MessageType::acknowledgement));
    const std::string json = summary();
    for (const char* part :
         {R"("framesShown": 5)", R"("decodeErrors": 0)", R"("missingReferences": 0)",
          R"("sizes": ["320x240"])", R"("link": "USB")", R"("settings": "1024×768 | Smooth Off | Fit")",
          R"("overlay": true)", R"("smoothing": 3)", R"("dropsReported": 5)", R"("cursorUpdates": 1)",
          R"("acknowledgement": 5)"}) {
        EXPECT_THAT(json, HasSubstr(part));
    }
}

TEST_F(DeviceStreamTest, CountsFramesWhoseReferenceIsMissing) {
    start();
    ScriptedHost host(device_->port());
    host.readGreeting();
    sendStart(host);
    for (const size_t index : {0, 1, 3}) sendFrame(host, index);
    for (int i = 0; i < 3; ++i) ASSERT_TRUE(host.readUntil(MessageType::acknowledgement));
    EXPECT_THAT(summary(), HasSubstr(R"("missingReferences": 1)"));
}

TEST_F(DeviceStreamTest, ANewHostBeginsWithANewDecoder) {
    start();
    for (int link = 0; link < 2; ++link) {
        ScriptedHost host(device_->port());
        host.readGreeting();
        sendStart(host);
        sendFrame(host, 0);
        ASSERT_TRUE(host.readUntil(MessageType::acknowledgement));
        sendFrame(host, 1);
        ASSERT_TRUE(host.readUntil(MessageType::acknowledgement));
    }
    EXPECT_THAT(summary(), HasSubstr(R"("missingReferences": 0)"));
}

TEST_F(DeviceStreamTest, RecordsAStreamAndLogsItsFrames) {
    options_.recordFile = folder_ / "stream.h264";
    options_.counterLog = folder_ / "counter.log";
    options_.messageLog = folder_ / "message.log";
    start();
    ScriptedHost host(device_->port());
    host.readGreeting();
    sendStart(host);
    sendFrame(host, 0);
    host.send(MessageType::cursor, 0, wire::cursorPayload({true, 0.5, 0.25}));
    sendFrame(host, 1);
    for (int i = 0; i < 2; ++i) ASSERT_TRUE(host.readUntil(MessageType::acknowledgement));
    summary();
    device_.reset();
    EXPECT_TRUE(contentOf(*options_.recordFile).starts_with(std::string("\0\0\0\1\x67", 5)));
    const std::string frames = contentOf(*options_.counterLog);
    EXPECT_TRUE(frames.starts_with("1000 ")) << frames;
    EXPECT_THAT(frames, HasSubstr(" -\n2000 ")) << "no counter in this picture";
    EXPECT_THAT(contentOf(*options_.messageLog), HasSubstr(" 6 9 0 0.500000 0.250000\n"));
}

TEST_F(DeviceStreamTest, UndecodedFramesAreAcknowledgedAndRecorded) {
    options_.decodes = false;
    options_.mirroredDisplay = Size{1024, 768};
    options_.recordFile = folder_ / "stream.h264";
    start();
    ScriptedHost host(device_->port());
    host.readGreeting();
    sendStart(host);
    for (size_t i = 0; i < sample_.frames.size(); ++i) {
        sendFrame(host, i);
        const auto answer = host.readUntil(MessageType::acknowledgement);
        ASSERT_TRUE(answer);
        EXPECT_EQ(answer->header.pts, 1000 * (i + 1));
    }
    device_->touch(wire::Input::press, {0.5, 0.5});  // where on the display: known without a picture
    EXPECT_TRUE(host.readUntil(MessageType::input));
    const std::string told = summary();
    EXPECT_THAT(told, HasSubstr(R"("framesShown": 4)"));
    EXPECT_THAT(told, HasSubstr(R"("framesDecoded": 0)"));
    device_.reset();
    Bytes stream;
    ASSERT_TRUE(appendAnnexB(stream, sample_.parameterSets));
    for (const Bytes& frame : sample_.frames) ASSERT_TRUE(appendAnnexB(stream, frame));
    EXPECT_EQ(contentOf(*options_.recordFile), std::string(stream.begin(), stream.end()));
}

TEST_F(DeviceStreamTest, FaultNoAckStillKeepsAlive) {
    addFault("no-ack");
    start();
    ScriptedHost host(device_->port());
    host.readGreeting();
    sendStart(host);
    sendFrame(host, 0);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(host.read()->type(), MessageType::keepAlive);
    EXPECT_THAT(summary(), HasSubstr(R"("framesShown": 1)"));
}

TEST_F(DeviceTest, FaultSilentAcceptsAndSaysNothing) {
    addFault("silent");
    start();
    ScriptedHost host(device_->port());
    host.setPatience(1.3);
    EXPECT_FALSE(host.readGreeting());
    EXPECT_THAT(summary(), HasSubstr(R"("connections": 1)"));
}

TEST_F(DeviceTest, FaultCutTakesExactlySoManyBytes) {
    addFault("cut:20");
    start();
    ScriptedHost host(device_->port());
    host.readGreeting();
    host.sendBytes(Bytes(64));
    EXPECT_TRUE(host.sawEnd());
    EXPECT_THAT(summary(), HasSubstr(R"("bytes": 20)"));
}

TEST_F(DeviceTest, FaultGarbageIsNoKeepAlive) {
    addFault("garbage");
    addFault("no-keepalive");
    start();
    ScriptedHost host(device_->port());
    host.readGreeting();
    const Bytes garbage = host.readBytes(1024);
    ASSERT_EQ(garbage.size(), 1024U);
    EXPECT_GT(std::set<uint8_t>(garbage.begin(), garbage.end()).size(), 200U);
}

TEST_F(DeviceTest, FaultSlowFillsTheLink) {
    addFault("slow:1000");
    start();
    ScriptedHost host(device_->port());
    host.readGreeting();
    host.send(static_cast<MessageType>(99), 0, Bytes(20'000));
    ASSERT_TRUE(host.readUntil(MessageType::keepAlive));
    ASSERT_TRUE(host.readUntil(MessageType::keepAlive));
    EXPECT_THAT(summary(), testing::ContainsRegex("\"bytes\": (9[0-9][0-9]|1[0-9][0-9][0-9]),"));
}

TEST_F(DeviceTest, FaultStallPausesEverything) {
    addFault("stall:1.5@0");
    start();
    ScriptedHost host(device_->port());
    host.readGreeting();
    const auto before = Clock::now();
    ASSERT_TRUE(host.readUntil(MessageType::keepAlive));
    EXPECT_GT(Clock::now() - before, std::chrono::milliseconds(1200));
}

TEST_F(DeviceTest, EndsWhileAHostIsConnected) {
    start();
    ScriptedHost host(device_->port());
    host.readGreeting();
    device_->stop();
    EXPECT_TRUE(host.sawEnd());
}

}  // namespace
}  // namespace quillon::device
