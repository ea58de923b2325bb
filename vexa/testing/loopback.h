#pragma once

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

/// The far side of a network client under test: plain blocking sockets on the loopback device, on a port that
/// the system assigns. Nothing here waits for longer than a minute; a client that does not do its part is a
/// std::runtime_error.
namespace Vexa::testing {

inline int check_system(int result, char const* what) {
    if (result < 0) throw std::system_error(errno, std::generic_category(), what);
    return result;
}

inline void wait_until_ready(int descriptor, short events) {
    pollfd waiting{descriptor, events, 0};
    if (check_system(::poll(&waiting, 1, 60000), "poll") == 0)
        throw std::runtime_error("The client did nothing for a minute.");
}

/// Owns a descriptor.
class Descriptor {
public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor() { close(); }

    int get() const { return descriptor_; }
    void close() {
        if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
    }

private:
    int descriptor_;
};

/// One accepted connection.
class Peer {
public:
    explicit Peer(int descriptor) : socket_(descriptor) { set(IPPROTO_TCP, TCP_NODELAY, 1); }

    /// Send all of \p data at once.
    void send(std::string_view data) {
        while (!data.empty()) {
            wait_until_ready(socket_.get(), POLLOUT);
            auto const sent = ::send(socket_.get(), data.data(), data.size(), MSG_NOSIGNAL);
            check_system(sent < 0 ? -1 : 0, "send");
            data.remove_prefix(static_cast<std::size_t>(sent));
        }
    }

    /// Send \p data in packets of one byte.
    void send_bytewise(std::string_view data) {
        for (; !data.empty(); data.remove_prefix(1)) send(data.substr(0, 1));
    }

    /// Receive \p n bytes, or less if the client closes.
    std::string receive(std::size_t n) {
        std::string data;
        while (data.size() < n) {
            char piece[65536];
            wait_until_ready(socket_.get(), POLLIN);
            auto const got = ::recv(socket_.get(), piece, std::min(sizeof piece, n - data.size()), 0);
            check_system(got < 0 ? -1 : 0, "recv");
            if (got == 0) break;
            data.append(piece, static_cast<std::size_t>(got));
        }
        return data;
    }

    /// Receive until the client closes.
    std::string receive_all() { return receive(std::string::npos); }

    /// Close the sending direction alone.
    void finish_sending() { check_system(::shutdown(socket_.get(), SHUT_WR), "shutdown"); }
    void close() { socket_.close(); }
    /// Close in the way that the client sees as "Connection reset by peer".
    void reset() {
        set(SOL_SOCKET, SO_LINGER, linger{1, 0});
        close();
    }

private:
    template <typename T>
    void set(int level, int option, T const& value) {
        check_system(::setsockopt(socket_.get(), level, option, &value, sizeof value), "setsockopt");
    }

    Descriptor socket_;
};

/// A listening socket. Clients can connect as soon as it is made; accept() may come later, in the same
/// thread.
class Listener {
public:
    explicit Listener(int backlog = 16) : socket_(bound_socket(address_)) {
        check_system(::listen(socket_.get(), backlog), "listen");
    }

    /// The number of the port, as a client wants it.
    std::string port() const { return std::to_string(ntohs(address_.sin_port)); }
    sockaddr_in const& address() const { return address_; }

    Peer accept() {
        wait_until_ready(socket_.get(), POLLIN);
        return Peer(check_system(::accept4(socket_.get(), nullptr, nullptr, SOCK_CLOEXEC), "accept"));
    }

    /// A socket of the loopback device with a port of its own, on which nobody listens yet.
    static Descriptor bound_socket(sockaddr_in& address) {
        Descriptor made(check_system(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0), "socket"));
        address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        check_system(::bind(made.get(), reinterpret_cast<sockaddr*>(&address), size), "bind");
        check_system(::getsockname(made.get(), reinterpret_cast<sockaddr*>(&address), &size), "getsockname");
        return made;
    }

private:
    sockaddr_in address_{};
    Descriptor socket_;
};

/// A port that refuses connections for as long as this lives.
class RefusedPort {
public:
    RefusedPort() : socket_(Listener::bound_socket(address_)) {}
    std::string port() const { return std::to_string(ntohs(address_.sin_port)); }

private:
    sockaddr_in address_{};
    Descriptor socket_;
};

} // namespace Vexa::testing
