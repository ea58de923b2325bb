#include <vexa/net/tcpip.h>

#include <future>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include <vexa/testing/client_fixture.h>
#include <vexa/testing/expect_throws.h>

using namespace Vexa::testing;
using namespace std::string_literals;
namespace error = boost::asio::error;

static_assert(std::has_virtual_destructor_v<VTcpClient>);
static_assert(!std::is_copy_constructible_v<VTcpClient> && !std::is_move_constructible_v<VTcpClient>);
static_assert(std::is_same_v<vx::utility::duration::rep, std::int64_t>);

using VTcpClientConfig = ClientTest;
using VTcpClientRead = ClientTest;
using VTcpClientWrite = ClientTest;
using VTcpClientQuery = ClientTest;
using VTcpClientDisconnect = ClientTest;

TEST_F(VTcpClientConfig, DefaultsToOneSecondAndLineFeeds) {
    VTcpClient::Config const defaults;
    EXPECT_EQ(defaults.read_timeout.count(), 1000000);
    EXPECT_EQ(defaults.write_timeout.count(), 1000000);
    EXPECT_EQ(defaults.read_delimiter, "\n");
    EXPECT_EQ(defaults.write_delimiter, "\n");
}

TEST_F(VTcpClientConfig, TakesEffectAtTheNextCallAlsoOnBytesReceivedBefore) {
    Peer peer = connect();
    peer.send("a\nb;c\nd;e");
    EXPECT_EQ(client.read_line(), "a");
    set_delimiters(";", "!");
    EXPECT_EQ(client.read_line(), "b");
    client.write_line("x");
    EXPECT_EQ(peer.receive(2), "x!");
    set_delimiters("\n", "\n");
    EXPECT_EQ(client.read_line(), "c");
}

TEST_F(VTcpClientRead, LinesThatArriveTogetherComeOneByOneWithoutTheNetwork) {
    Peer peer = connect();
    peer.send("a\nb\n");
    EXPECT_EQ(client.read_line(), "a");
    peer.reset();
    EXPECT_EQ(client.read_line(), "b");
    EXPECT_THROW(client.read_line(), boost::system::system_error);
}

TEST_F(VTcpClientRead, BothBytesOfATwoByteDelimiterAreCutOff) {
    set_delimiters("\r\n", "\r\n");
    Peer peer = connect();
    peer.send("one\r\ntwo\rthree\nfour\r\r\n\r\n");
    EXPECT_EQ(client.read_line(), "one");
    EXPECT_EQ(client.read_line(), "two\rthree\nfour\r");
    EXPECT_EQ(client.read_line(), "");
}

TEST_F(VTcpClientRead, LineOfNothingIsEmpty) {
    Peer peer = connect();
    peer.send("\n\nx\n");
    EXPECT_EQ(client.read_line(), "");
    EXPECT_EQ(client.read_line(), "");
    EXPECT_EQ(client.read_line(), "x");
}

TEST_F(VTcpClientRead, NulBytesAndTextThatIsNotAsciiPassUnchanged) {
    set_delimiters("\0\xC3"s, "\n");
    Peer peer = connect();
    peer.send("5 \xC2\xB5m\0\n\0\xC3\0\xC3"s);
    EXPECT_EQ(client.read_line(), "5 \xC2\xB5m\0\n"s);
    EXPECT_EQ(client.read_line(), "");
}

TEST_F(VTcpClientRead, LinesThatArriveByteByByteAreJoined) {
    set_delimiters("<end>", "\n");
    Peer peer = connect();
    auto const server =
        std::async(std::launch::async, [&peer] { peer.send_bytewise("a<end>b<en<end><end>c<<end>"); });
    EXPECT_EQ(client.read_line(), "a");
    EXPECT_EQ(client.read_line(), "b<en");
    EXPECT_EQ(client.read_line(), "");
    EXPECT_EQ(client.read_line(), "c<");
}

TEST_F(VTcpClientRead, LastLineWithoutDelimiterArrivesAndTheNextCallThrows) {
    Peer peer = connect();
    peer.send("abc");
    peer.close();
    EXPECT_EQ(client.read_line(), "abc");
    VEXA_EXPECT_CODE(client.read_line(), error::eof, "End of file");
}

TEST_F(VTcpClientRead, EveryCallBehindTheEndFindsIt) {
    Peer peer = connect();
    peer.close();
    for (int i = 0; i < 5; ++i) VEXA_EXPECT_CODE(client.read_line(), error::eof, "End of file");
}

TEST_F(VTcpClientRead, PeerThatFinishedSendingCanStillBeWrittenTo) {
    Peer peer = connect();
    peer.finish_sending();
    VEXA_EXPECT_THROWS(client.read_line(), boost::system::system_error, "End of file");
    client.write_line("bye");
    EXPECT_EQ(peer.receive(4), "bye\n");
}

TEST_F(VTcpClientRead, PeerThatResetsIsAnError) {
    Peer peer = connect();
    peer.reset();
    VEXA_EXPECT_CODE(client.read_line(), error::connection_reset, "Connection reset by peer");
}

TEST_F(VTcpClientRead, BytesBeforeAResetArriveAsTheyStand) {
    Peer peer = connect();
    peer.send("a\nbc");
    peer.reset();
    EXPECT_EQ(client.read_line(), "a");
    EXPECT_EQ(client.read_line(), "bc");
    EXPECT_THROW(client.read_line(), boost::system::system_error);
}

TEST_F(VTcpClientRead, SilentPeerIsATimeoutThatClosesTheSocket) {
    Peer peer = connect();
    set_read_timeout(moment);
    auto const start = std::chrono::steady_clock::now();
    VEXA_EXPECT_THROWS(client.read_line(), boost::system::system_error, "Operation canceled");
    EXPECT_GE(std::chrono::steady_clock::now() - start, moment);
    EXPECT_EQ(peer.receive_all(), "");
    VEXA_EXPECT_CLOSED(client.read_line());
    VEXA_EXPECT_CLOSED(client.write_line("x"));

    Peer next = connect();
    set_read_timeout(patience);
    next.send("again\n");
    EXPECT_EQ(client.read_line(), "again");
}

TEST_F(VTcpClientRead, UnfinishedLineArrivesWhenTheLimitPassesAndTheSocketIsClosed) {
    Peer peer = connect();
    set_read_timeout(moment);
    peer.send("abc");
    EXPECT_EQ(client.read_line(), "abc");
    EXPECT_EQ(peer.receive_all(), "");
    VEXA_EXPECT_CLOSED(client.read_line());
}

TEST_F(VTcpClientRead, EmptyDelimiterIsRefusedAndTheConnectionStays) {
    Peer peer = connect();
    set_delimiters("", "\n");
    VEXA_EXPECT_THROWS(client.read_line(), std::invalid_argument,
                       "Cannot read a line, read_delimiter is empty.");
    VEXA_EXPECT_THROWS(client.query("x"), std::invalid_argument,
                       "Cannot read a line, read_delimiter is empty.");
    client.write_line("y");
    EXPECT_EQ(peer.receive(2), "y\n");
}

TEST_F(VTcpClientWrite, LineGoesOutWithItsDelimiterBehindIt) {
    Peer peer = connect();
    client.write_line("one");
    client.write_line("");
    client.write_line("two\nthree");
    set_delimiters("\n", "\r\n");
    client.write_line("four");
    set_delimiters("\n", "");
    client.write_line("five");
    client.disconnect();
    EXPECT_EQ(peer.receive_all(), "one\n\ntwo\nthree\nfour\r\nfive");
}

TEST_F(VTcpClientWrite, DataGoesOutAsItIs) {
    Peer peer = connect();
    client.write_data("a\0\n\xFF", 4);
    client.write_data("more", 0);
    client.write_data(nullptr, 0);
    client.disconnect();
    EXPECT_EQ(peer.receive_all(), "a\0\n\xFF"s);
}

TEST_F(VTcpClientWrite, MoreThanTheSystemBuffersArrivesWhole) {
    std::string data(std::size_t{1} << 23, '\0');
    for (std::size_t i = 0; i < data.size(); ++i) data[i] = static_cast<char>(i * 2654435761u >> 24);
    Peer peer = connect();
    auto server = std::async(std::launch::async, [&] { return peer.receive(data.size()); });
    client.write_data(data.data(), data.size());
    EXPECT_TRUE(server.get() == data);
}

TEST_F(VTcpClientWrite, PeerThatDoesNotReadIsATimeoutThatClosesTheSocket) {
    std::string const data(std::size_t{1} << 25, 'x');
    Peer peer = connect();
    set_write_timeout(moment);
    VEXA_EXPECT_TIMED_OUT(client.write_data(data.data(), data.size()));
    EXPECT_LT(peer.receive_all().size(), data.size());
    VEXA_EXPECT_CLOSED(client.write_data("x", 1));
}

TEST_F(VTcpClientWrite, PeerThatIsGoneIsAnErrorAndNoSignal) {
    Peer peer = connect();
    peer.reset();
    EXPECT_THROW(client.read_line(), boost::system::system_error); // the reset is here now
    for (int i = 0; i < 5; ++i) {
        VEXA_EXPECT_CODE(client.write_line("x"), error::broken_pipe, "Broken pipe");
        VEXA_EXPECT_CODE(client.read_line(), error::eof, "End of file");
    }
}

TEST_F(VTcpClientQuery, SendsTheLineAndReturnsTheAnswer) {
    Peer peer = connect();
    auto server = std::async(std::launch::async, [&peer] {
        auto const question = peer.receive(2);
        peer.send("answer\n");
        return question;
    });
    EXPECT_EQ(client.query("x"), "answer");
    EXPECT_EQ(server.get(), "x\n");
}

TEST_F(VTcpClientQuery, RepeatsForAsLongAsThePeerAnswers) {
    Peer peer = connect();
    auto const server = std::async(std::launch::async, [&peer] {
        for (int i = 0; i < 1000; ++i) peer.send("is " + peer.receive(3));
    });
    for (int i = 0; i < 1000; ++i) {
        auto const question = std::to_string(10 + i % 90);
        ASSERT_EQ(client.query(question), "is " + question);
    }
}

TEST_F(VTcpClientDisconnect, WithoutAConnectionDoesNothing) {
    client.disconnect();
    client.disconnect();
    VEXA_EXPECT_CLOSED(client.read_line());
}

TEST_F(VTcpClientDisconnect, ClosesTheConnection) {
    Peer peer = connect();
    client.disconnect();
    client.disconnect();
    EXPECT_EQ(peer.receive_all(), "");
    VEXA_EXPECT_CLOSED(client.write_line("x"));
    VEXA_EXPECT_CLOSED(client.write_data("", 0));
    VEXA_EXPECT_CLOSED(client.query("x"));
}

TEST_F(VTcpClientDisconnect, LeavesWhatWasReceivedInOnePiece) {
    Peer peer = connect();
    peer.send("a\nb\nc");
    EXPECT_EQ(client.read_line(), "a");
    client.disconnect();
    EXPECT_EQ(client.read_line(), "b\nc");
    VEXA_EXPECT_CLOSED(client.read_line());
}

TEST_F(VTcpClientDisconnect, IsWhatTheDestructorDoes) {
    auto const before = open_descriptors();
    Listener other;
    {
        VTcpClient short_lived;
        short_lived.connect("127.0.0.1", other.port(), patience);
        Peer peer = other.accept();
        peer.send("unread\n");
    }
    EXPECT_EQ(open_descriptors(), before + 1); // the listener
}
