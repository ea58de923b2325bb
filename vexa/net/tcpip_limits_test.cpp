// Time limits at the ends of their range, long streams of lines, lines without end, clients side by side.

#include <vexa/net/tcpip.h>

#include <future>
#include <stdexcept>
#include <string>

#include <malloc.h>

#include <gtest/gtest.h>

#include <vexa/testing/client_fixture.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();
#endif

using namespace Vexa::testing;
namespace error = boost::asio::error;

namespace {

std::size_t bytes_in_use() {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    return __sanitizer_get_current_allocated_bytes();
#else
    auto const info = mallinfo2();
    return info.uordblks + info.hblkhd;
#endif
}

/// The numbers from \p begin on, one a line, as many as there are up to \p end in one packet.
std::string numbered_lines(int begin, int end) {
    std::string lines;
    for (int i = begin; i < end; ++i) lines += std::to_string(i) + '\n';
    return lines;
}

void send_numbered_lines(Peer& peer, int count) {
    for (int begin = 0; begin < count; begin += 5000)
        peer.send(numbered_lines(begin, std::min(begin + 5000, count)));
}

} // namespace

using VTcpClientLimit = ClientTest;
using VTcpClientStream = ClientTest;

TEST_F(VTcpClientLimit, LargestCountDoesNotOverflowTheDeadline) {
    set_read_timeout(vx::utility::duration::max());
    set_write_timeout(vx::utility::duration::max());
    client.connect("127.0.0.1", listener.port(), vx::utility::duration::max());
    Peer peer = listener.accept();
    client.write_line("x");
    EXPECT_EQ(peer.receive(2), "x\n");
    peer.send("a\nb");
    EXPECT_EQ(client.read_line(), "a");
    peer.finish_sending();
    EXPECT_EQ(client.read_line(), "b");
}

TEST_F(VTcpClientLimit, CountsThatOverflowInNanosecondsOnlyAreNotPassed) {
    Peer peer = connect();
    for (std::int64_t const count : {std::int64_t{1} << 53, std::int64_t{1} << 62, INT64_MAX / 1000,
                                     INT64_MAX / 1000 + 1, INT64_MAX - 1}) {
        set_read_timeout(vx::utility::duration(count));
        peer.send("x\n");
        EXPECT_EQ(client.read_line(), "x");
    }
    client.write_line("open");
    EXPECT_EQ(peer.receive(5), "open\n");
}

TEST_F(VTcpClientLimit, OfZeroOrLessClosesBeforeASilentPeer) {
    for (auto const timeout :
         {vx::utility::duration(0), vx::utility::duration(-1), vx::utility::duration::min()}) {
        Peer peer = connect();
        set_read_timeout(timeout);
        VEXA_EXPECT_TIMED_OUT(client.read_line());
        VEXA_EXPECT_CLOSED(client.read_line());
    }
}

TEST_F(VTcpClientLimit, OfZeroOrLessClosesAlsoWhenTheLineIsHere) {
    Peer peer = connect();
    peer.send("a\nb\n");
    EXPECT_EQ(client.read_line(), "a");
    set_read_timeout(vx::utility::duration(0));
    EXPECT_EQ(client.read_line(), "b");
    VEXA_EXPECT_CLOSED(client.write_line("x"));
}

TEST_F(VTcpClientLimit, OfZeroEndsAWriteThatTakesLonger) {
    std::string const data(std::size_t{1} << 25, 'x');
    Peer peer = connect();
    set_write_timeout(vx::utility::duration(0));
    VEXA_EXPECT_TIMED_OUT(client.write_data(data.data(), data.size()));
    VEXA_EXPECT_CLOSED(client.write_data("x", 1));
}

TEST_F(VTcpClientLimit, RunsOnlyDuringCalls) {
    Peer peer = connect();
    set_read_timeout(std::chrono::milliseconds(500));
    peer.send("a\nb\n");
    EXPECT_EQ(client.read_line(), "a");

    // Another client's silent peer lets the time pass.
    Listener other;
    VTcpClient waiting;
    waiting.configure({std::chrono::milliseconds(600), patience, "\n", "\n"});
    waiting.connect("127.0.0.1", other.port(), patience);
    EXPECT_THROW(waiting.read_line(), boost::system::system_error);

    EXPECT_EQ(client.read_line(), "b");
    client.write_line("x");
    EXPECT_EQ(peer.receive(2), "x\n");
}

TEST_F(VTcpClientStream, MillionLinesArriveInOrderWithoutGrowth) {
    constexpr int count = 1000000;
    Peer peer = connect();
    auto server = std::async(std::launch::async, [&peer] { send_numbered_lines(peer, count); });
    std::size_t early = 0;
    for (int i = 0; i < count; ++i) {
        ASSERT_EQ(client.read_line(), std::to_string(i));
        if (i == 10000) early = bytes_in_use();
    }
    server.get();
    EXPECT_LT(bytes_in_use(), early + 200000); // the peer's packet and the buffer
}

TEST_F(VTcpClientStream, LongestLineArrives) {
    Peer peer = connect();
    std::string const line(VTcpClient::max_line_size - 1, 'x');
    auto server = std::async(std::launch::async, [&] { peer.send(line + "\nnext\n"); });
    EXPECT_TRUE(client.read_line() == line);
    EXPECT_EQ(client.read_line(), "next");
    server.get();
}

TEST_F(VTcpClientStream, LineWithoutEndIsAnErrorThatClosesTheSocketAndDropsTheBytes) {
    static_assert(VTcpClient::max_line_size == 16777216);
    Peer peer = connect();
    auto server = std::async(std::launch::async, [&peer] {
        std::string const piece(65536, 'x');
        try {
            for (;;) peer.send(piece);
        } catch (std::system_error const&) { // the client has closed
        }
    });
    VEXA_EXPECT_CODE(client.read_line(), error::message_size,
                     "Received 16777216 bytes without a delimiter: Message too long");
    server.get();
    VEXA_EXPECT_CLOSED(client.read_line());

    Peer next = connect();
    next.send("short\n");
    EXPECT_EQ(client.read_line(), "short");
}

TEST(VTcpClientThreads, EachHasAClientOfItsOwn) {
    auto const converse = [](char name) {
        Listener listener;
        VTcpClient client;
        client.configure(patient_config());
        client.connect("127.0.0.1", listener.port(), patience);
        Peer peer = listener.accept();
        std::string answers;
        for (int i = 0; i < 200; ++i) {
            peer.send(std::string(1, name) + "\n");
            answers += client.query("x");
        }
        return answers;
    };
    auto first = std::async(std::launch::async, converse, 'a');
    auto second = std::async(std::launch::async, converse, 'b');
    EXPECT_EQ(first.get(), std::string(200, 'a'));
    EXPECT_EQ(second.get(), std::string(200, 'b'));
}

TEST(VTcpClientThreads, OneClientMayWanderBetweenThem) {
    Listener listener;
    VTcpClient client;
    client.configure(patient_config());
    client.connect("127.0.0.1", listener.port(), patience);
    Peer peer = listener.accept();
    for (int i = 0; i < 20; ++i) {
        peer.send("x\n");
        EXPECT_EQ(std::async(std::launch::async, [&client] { return client.read_line(); }).get(), "x");
    }
}
