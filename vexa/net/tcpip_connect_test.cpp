#include <vexa/net/tcpip.h>

#include <list>
#include <string>

#include <fcntl.h>
#include <netdb.h>

#include <gtest/gtest.h>

#include <vexa/testing/client_fixture.h>

using namespace Vexa::testing;
using namespace std::string_literals;
namespace error = boost::asio::error;

namespace {

/// Fill the queue of a listener until the system answers no more.
/// \return the connections that fill it, which must be kept
std::list<Descriptor> fill_queue(Listener const& listener) {
    std::list<Descriptor> connections;
    for (bool full = false; !full && connections.size() < 64;) {
        auto const& connection = connections.emplace_back(
            check_system(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0), "socket"));
        auto const* const address = reinterpret_cast<sockaddr const*>(&listener.address());
        if (::connect(connection.get(), address, sizeof listener.address()) == 0) continue;
        pollfd waiting{connection.get(), POLLOUT, 0};
        full = check_system(::poll(&waiting, 1, 200), "poll") == 0;
    }
    return connections;
}

/// A machine may go without names, like one that was just set up.
bool has_name(char const* host) {
    addrinfo* found = nullptr;
    if (::getaddrinfo(host, nullptr, nullptr, &found) != 0) return false;
    ::freeaddrinfo(found);
    return true;
}

} // namespace

using VTcpClientConnect = ClientTest;

TEST_F(VTcpClientConnect, TakesNamesOfHosts) {
    if (!has_name("localhost")) GTEST_SKIP() << "needs a name for this machine";
    client.connect("localhost", listener.port(), patience);
    Peer peer = listener.accept();
    client.write_line("x");
    EXPECT_EQ(peer.receive(2), "x\n");
}

TEST_F(VTcpClientConnect, EmptyHostIsThisMachine) {
    client.connect("", listener.port(), patience);
    Peer peer = listener.accept();
    peer.send("x\n");
    EXPECT_EQ(client.read_line(), "x");
}

TEST_F(VTcpClientConnect, UnknownServiceIsNotResolved) {
    VEXA_EXPECT_CODE(client.connect("127.0.0.1", "no-such-service", patience), error::service_not_found,
                     "resolve: Service not found");
    VEXA_EXPECT_CLOSED(client.read_line());
}

TEST_F(VTcpClientConnect, NoHostAndNoServiceAreNotResolved) {
    VEXA_EXPECT_CODE(client.connect("", "", patience), error::host_not_found,
                     "resolve: Host not found (authoritative)");
}

TEST_F(VTcpClientConnect, NulInANameIsNotResolvedAsTheTextBeforeIt) {
    VEXA_EXPECT_CODE(client.connect("127.0.0.1\0.example"s, listener.port(), patience), error::host_not_found,
                     "resolve: Host not found (authoritative)");
    VEXA_EXPECT_CODE(client.connect("127.0.0.1", listener.port() + "\0"s, patience), error::service_not_found,
                     "resolve: Service not found");
}

TEST_F(VTcpClientConnect, RefusedPortIsAnErrorThatLeavesTheClientClosed) {
    RefusedPort const refused;
    auto const before = open_descriptors();
    for (int i = 0; i < 10; ++i)
        VEXA_EXPECT_CODE(client.connect("127.0.0.1", refused.port(), patience), error::connection_refused,
                         "Connection refused");
    EXPECT_EQ(open_descriptors(), before);
    VEXA_EXPECT_CLOSED(client.read_line());
    connect();
}

TEST_F(VTcpClientConnect, ConnectedClientClosesTheOldConnectionFirst) {
    Peer old = connect();
    Peer next = connect();
    EXPECT_EQ(old.receive_all(), "");
    next.send("x\n");
    EXPECT_EQ(client.read_line(), "x");
}

TEST_F(VTcpClientConnect, NewConnectionStartsWithoutBytesOfTheOldOne) {
    Peer old = connect();
    old.send("a\nstale\nbytes");
    EXPECT_EQ(client.read_line(), "a");
    Peer next = connect();
    next.send("fresh\n");
    EXPECT_EQ(client.read_line(), "fresh");
}

TEST_F(VTcpClientConnect, FailureDropsTheOldConnectionAndItsBytes) {
    RefusedPort const refused;
    Peer old = connect();
    old.send("a\nstale\n");
    EXPECT_EQ(client.read_line(), "a");
    EXPECT_THROW(client.connect("127.0.0.1", refused.port(), patience), boost::system::system_error);
    VEXA_EXPECT_CLOSED(client.read_line());
    EXPECT_EQ(old.receive_all(), "");
}

TEST_F(VTcpClientConnect, LimitOfZeroOrLessHasPassed) {
    auto const before = open_descriptors();
    for (auto const timeout :
         {vx::utility::duration(0), vx::utility::duration(-1), vx::utility::duration::min()})
        VEXA_EXPECT_TIMED_OUT(client.connect("127.0.0.1", listener.port(), timeout));
    EXPECT_EQ(open_descriptors(), before);
    VEXA_EXPECT_CLOSED(client.read_line());
}

TEST_F(VTcpClientConnect, PeerThatDoesNotAnswerIsATimeout) {
    Listener full(0);
    auto connections = fill_queue(full);
    if (connections.size() == 64) GTEST_SKIP() << "This system lets every connection into the queue.";
    auto const before = open_descriptors();
    auto const start = std::chrono::steady_clock::now();
    VEXA_EXPECT_TIMED_OUT(client.connect("127.0.0.1", full.port(), moment));
    EXPECT_GE(std::chrono::steady_clock::now() - start, moment);
    EXPECT_EQ(open_descriptors(), before);
    VEXA_EXPECT_CLOSED(client.write_line("x"));
    connect();
}
