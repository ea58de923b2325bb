// What the system refuses or does by halves. The functions that this program's link wraps pass on to the real
// ones unless a test asks for a fault.

#include <vexa/net/tcpip.h>

#include <algorithm>
#include <cerrno>
#include <future>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <vexa/testing/client_fixture.h>
#include <vexa/testing/expect_throws.h>

using namespace Vexa::testing;
namespace error = boost::asio::error;

namespace {

/// Faults of the calling thread, so that a peer in another one is spared.
struct Faults {
    int close_error = 0;
    int socket_error = 0;
    int resolver_error = 0;
    char const* port_before = nullptr; ///< resolved to this port first, then to the one asked for
    bool single_bytes = false;         ///< receive one byte at a time
    long allocations_left = -1;        ///< -1: as many as it likes
};
constinit thread_local Faults faults;

struct WithFaults {
    explicit WithFaults(Faults const& wanted) { faults = wanted; }
    WithFaults(WithFaults const&) = delete;
    WithFaults& operator=(WithFaults const&) = delete;
    ~WithFaults() { faults = Faults(); }
};

} // namespace

extern "C" {

int __real_close(int descriptor);
int __wrap_close(int descriptor) {
    int const result = __real_close(descriptor);
    if (faults.close_error == 0) return result;
    errno = std::exchange(faults.close_error, 0);
    return -1;
}

int __real_socket(int domain, int type, int protocol);
int __wrap_socket(int domain, int type, int protocol) {
    if (faults.socket_error == 0) return __real_socket(domain, type, protocol);
    errno = faults.socket_error;
    return -1;
}

int __real_getaddrinfo(char const* host, char const* service, addrinfo const* hints, addrinfo** result);
int __wrap_getaddrinfo(char const* host, char const* service, addrinfo const* hints, addrinfo** result) {
    if (faults.resolver_error != 0) return faults.resolver_error;
    if (!faults.port_before) return __real_getaddrinfo(host, service, hints, result);
    if (int const failed = __real_getaddrinfo(host, faults.port_before, hints, result)) return failed;
    return __real_getaddrinfo(host, service, hints, &(*result)->ai_next);
}

ssize_t __real_recv(int descriptor, void* buffer, std::size_t n, int flags);
ssize_t __wrap_recv(int descriptor, void* buffer, std::size_t n, int flags) {
    return __real_recv(descriptor, buffer, faults.single_bytes ? std::min<std::size_t>(n, 1) : n, flags);
}

ssize_t __real_recvmsg(int descriptor, msghdr* message, int flags);
ssize_t __wrap_recvmsg(int descriptor, msghdr* message, int flags) {
    if (!faults.single_bytes) return __real_recvmsg(descriptor, message, flags);
    message->msg_iovlen = 1;
    message->msg_iov->iov_len = 1;
    return __real_recvmsg(descriptor, message, flags);
}

void* __real__Znwm(std::size_t n);
void* __wrap__Znwm(std::size_t n) {
    if (faults.allocations_left == 0) throw std::bad_alloc();
    if (faults.allocations_left > 0) --faults.allocations_left;
    return __real__Znwm(n);
}

} // extern "C"

using VTcpClientFaults = ClientTest;

TEST_F(VTcpClientFaults, DelimiterInSeveralPiecesIsFound) {
    WithFaults const single_bytes({.single_bytes = true});
    for (std::string const delimiter : {"\n", "\r\n", "<end>", "aab"}) {
        set_delimiters(delimiter, "\n");
        Peer peer = connect();
        peer.send("one" + delimiter + delimiter.substr(0, 1) + delimiter + delimiter + "last");
        peer.finish_sending();
        EXPECT_EQ(client.read_line(), "one");
        EXPECT_EQ(client.read_line(), delimiter.size() > 1 ? delimiter.substr(0, 1) : "");
        EXPECT_EQ(client.read_line(), "");
        EXPECT_EQ(client.read_line(), delimiter.size() > 1 ? "last" : "");
    }
}

TEST_F(VTcpClientFaults, CloseThatFailsIsReportedAndTheClientIsClosed) {
    Peer peer = connect();
    {
        WithFaults const fails({.close_error = EIO});
        VEXA_EXPECT_CODE(client.disconnect(),
                         boost::system::error_code(EIO, boost::system::system_category()),
                         "close: Input/output error");
    }
    EXPECT_EQ(peer.receive_all(), "");
    client.disconnect();
    VEXA_EXPECT_CLOSED(client.read_line());
    connect();
}

TEST_F(VTcpClientFaults, CloseThatFailsDoesNotDisturbATimeoutOrTheNextConnection) {
    Peer peer = connect();
    set_read_timeout(moment);
    {
        WithFaults const fails({.close_error = EIO});
        VEXA_EXPECT_TIMED_OUT(client.read_line());
        EXPECT_EQ(faults.close_error, 0);
    }
    connect();
    WithFaults const fails({.close_error = EIO});
    connect();
    EXPECT_EQ(faults.close_error, 0);
}

TEST_F(VTcpClientFaults, HostThatIsNotKnownIsNotResolved) {
    Peer peer = connect();
    WithFaults const fails({.resolver_error = EAI_NONAME});
    VEXA_EXPECT_CODE(client.connect("stage", "4001", patience), error::host_not_found,
                     "resolve: Host not found (authoritative)");
    EXPECT_EQ(peer.receive_all(), "");
    VEXA_EXPECT_CLOSED(client.read_line());
}

TEST_F(VTcpClientFaults, EndpointsAreTriedInTheOrderOfTheResolver) {
    RefusedPort const refused;
    std::string const refused_port = refused.port();
    {
        WithFaults const two_endpoints({.port_before = refused_port.c_str()});
        Peer peer = connect();
        client.write_line("x");
        EXPECT_EQ(peer.receive(2), "x\n");
    }
    Listener first;
    std::string const first_port = first.port();
    WithFaults const two_endpoints({.port_before = first_port.c_str()});
    client.connect("127.0.0.1", listener.port(), patience);
    Peer peer = first.accept();
    peer.send("first\n");
    EXPECT_EQ(client.read_line(), "first");
}

TEST_F(VTcpClientFaults, LimitThatPassesEndsTheSearchForAnEndpoint) {
    Listener first;
    std::string const first_port = first.port();
    WithFaults const two_endpoints({.port_before = first_port.c_str()});
    VEXA_EXPECT_TIMED_OUT(client.connect("127.0.0.1", listener.port(), vx::utility::duration(0)));
    VEXA_EXPECT_CLOSED(client.read_line());
}

TEST_F(VTcpClientFaults, SystemWithoutDescriptorsIsAnErrorWithItsReason) {
    {
        WithFaults const fails({.socket_error = EMFILE});
        VEXA_EXPECT_CODE(client.connect("127.0.0.1", listener.port(), patience), error::no_descriptors,
                         "Too many open files");
    }
    connect();
}

/// Let each allocation of an operation fail in turn, until it needs no more of them.
class VTcpClientMemory : public ClientTest {
protected:
    template <typename Operation>
    void fail_each_allocation(Operation operation) {
        auto const before = open_descriptors();
        bool done = false;
        for (long n = 0; !done && n < 1000; ++n) {
            Peer peer = connect();
            peer.send(answer + "\n" + answer + "\n");
            done = succeeds_with_allocations(n, operation);
            // At once: nothing of the operation may be left for the loop to run.
            expect_new_start();
        }
        EXPECT_TRUE(done);
        EXPECT_GT(failures, 0);
        client.disconnect();
        EXPECT_EQ(open_descriptors(), before);
    }

    std::string const answer = std::string(2000, 'x');

private:
    template <typename Operation>
    bool succeeds_with_allocations(long n, Operation operation) {
        try {
            WithFaults const fails({.allocations_left = n});
            operation();
            return true;
        } catch (std::bad_alloc const&) { // before or behind the operation of the socket
            return false;
        } catch (std::runtime_error const& failure) {
            EXPECT_EQ(std::string(typeid(failure).name()), typeid(std::runtime_error).name());
            EXPECT_STREQ(failure.what(), "std::bad_alloc");
            ++failures;
        }
        return false;
    }

    void expect_new_start() {
        Peer peer = connect();
        peer.send("fresh\n");
        EXPECT_EQ(client.query("x"), "fresh");
        EXPECT_EQ(peer.receive(2), "x\n");
    }

    int failures = 0;
};

TEST_F(VTcpClientMemory, ThatIsMissingForConnectLeavesAClientThatCanConnect) {
    std::string const host = "127.0.0.1", port = listener.port();
    fail_each_allocation([&] {
        client.connect(host, port, patience);
        listener.accept();
    });
}

TEST_F(VTcpClientMemory, ThatIsMissingForReadLineLeavesAClientThatCanConnect) {
    fail_each_allocation([this] { EXPECT_TRUE(client.read_line() == answer); });
}

TEST_F(VTcpClientMemory, ThatIsMissingForAnOperationLeavesTheClientClosed) {
    bool failed = false;
    for (long n = 0; !failed && n < 100; ++n) {
        Peer peer = connect();
        try {
            WithFaults const fails({.allocations_left = n});
            client.write_data("x", 1);
        } catch (std::runtime_error const&) {
            failed = true;
        } catch (std::bad_alloc const&) { // behind the operation
        }
    }
    EXPECT_TRUE(failed);
    VEXA_EXPECT_CLOSED(client.write_line("x"));
}

TEST_F(VTcpClientMemory, ThatIsMissingForWriteDataLeavesAClientThatCanConnect) {
    fail_each_allocation([this] { client.write_data(answer.data(), answer.size()); });
}
