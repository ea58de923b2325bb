#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ratio>
#include <string>
#include <utility>

// Categories of errors are compared by their address. Visible, they are the same objects in the library and
// in the program, so that a program can compare a code with boost::asio::error::eof.
#pragma GCC visibility push(default)
#include <boost/asio/error.hpp>
#pragma GCC visibility pop

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/streambuf.hpp>

#include <vexa/foundation/export.h>

namespace vx::utility {

/// A span of time: a signed 64-bit count of microseconds.
using duration = std::chrono::duration<std::int64_t, std::micro>;

} // namespace vx::utility

/// A client for devices and services that speak a text protocol of lines over TCP: connect, send a line,
/// receive a line, each a plain blocking call with a time limit.
///
///     VTcpClient stage;
///     stage.connect("stage.local", "4001", std::chrono::seconds(2));
///     std::string const position = stage.query("position x?");
///
/// A limit that passes ends the call and closes the connection, so that a late answer is never taken for the
/// answer to the next question; connect() starts afresh. A limit of zero or less has passed from the start,
/// and one that reaches behind the end of the clock never passes.
/// \note Deliberate: a limit that has passed closes the connection even where the call succeeds, as with a
///     line received before.
///
/// Owns: the connection, the bytes received behind the last line, and the event loop (three descriptors
/// besides the socket). Borrows: nothing that outlasts a call.
/// Failures: boost::system::system_error. Its code is boost::asio::error::operation_aborted ("Operation
/// canceled") for a limit that passed, boost::asio::error::bad_descriptor ("Bad file descriptor") for a call
/// on a closed client, boost::asio::error::eof ("End of file") for a peer that closed, else what the system
/// says. An error of the peer leaves the socket open: further calls meet an error again, and the other
/// direction may still work. A failure of the event loop itself, as for lack of memory, closes the connection
/// and is a std::runtime_error with the text of the failure.
/// Threads: one at a time; no thread is started. A write to a peer that is gone is an error, never a SIGPIPE.
class VEXA_API VTcpClient {
public:
    /// Limits and delimiters. Either delimiter may have any number of bytes, NUL included.
    struct Config {
        vx::utility::duration read_timeout{1000000};  ///< microseconds for one read_line()
        vx::utility::duration write_timeout{1000000}; ///< microseconds for one write_data()
        std::string read_delimiter = "\n";  ///< ends each line received; must not be empty for reading
        std::string write_delimiter = "\n"; ///< goes behind each line sent
    };

    /// The most bytes that one line may have, delimiter included, and that are ever held for a peer.
    static constexpr std::size_t max_line_size = std::size_t{1} << 24;

    /// A closed client with the default Config.
    /// \throws boost::system::system_error when the process is out of descriptors.
    VTcpClient();
    VTcpClient(VTcpClient const&) = delete;
    VTcpClient& operator=(VTcpClient const&) = delete;
    /// Closes the connection.
    virtual ~VTcpClient();

    /// Replace limits and delimiters, from the next call on. Bytes received already are split by the new
    /// delimiter.
    void configure(VTcpClient::Config const& config);

    /// Connect to the first endpoint of \p host that accepts, in the order of the resolver. Closes the
    /// connection there is first, and drops what was received from it, also when connecting fails then.
    /// \param host name or address; empty means this machine.
    /// \param service name or number of the port.
    /// \param timeout microseconds for all endpoints together. The resolver runs before and keeps its own
    ///     limits.
    /// \throws boost::system::system_error "resolve: " and the reason when host or service are not known,
    ///     else with the code of the endpoint tried last.
    void connect(std::string const& host, std::string const& service, vx::utility::duration timeout);

    /// Send exactly \p n bytes within `write_timeout`. After an error, how many arrived is not known.
    void write_data(char const* data, unsigned long n);

    /// Send \p line and `write_delimiter` behind it, within `write_timeout`. A delimiter inside is sent as it
    /// is.
    void write_line(std::string const& line);

    /// Receive the next line within `read_timeout`. Bytes behind its delimiter wait for the next call.
    /// \return the line without its delimiter
    /// \throws std::invalid_argument "Cannot read a line, read_delimiter is empty."
    /// \throws boost::system::system_error "Received 16777216 bytes without a delimiter: Message too long"
    ///     with boost::asio::error::message_size; the connection is closed then and the bytes are dropped.
    /// \note Deliberate: any other error with bytes received is not raised. All of them are returned as they
    ///     stand, so that a last line without delimiter arrives; the next call finds the error. A line that
    ///     is cut short by the limit looks like any other, and lines left behind by disconnect() come in one
    ///     piece.
    std::string read_line();

    /// write_line(), then read_line().
    std::string query(std::string line);

    /// Close the connection, if there is one. What was received stays readable.
    /// \throws boost::system::system_error "close: " and the reason; the client is closed all the same.
    void disconnect();

private:
    using Clock = std::chrono::steady_clock;

    struct Result {
        boost::system::error_code error;
        std::size_t count;
    };

    void arm_timer();
    void check_deadline();
    void set_deadline(vx::utility::duration timeout);
    template <typename Start>
    Result run(Start start);
    void end(boost::asio::ip::tcp::socket::shutdown_type direction);
    void abandon();
    void close_quietly();
    boost::system::error_code connect_to(boost::asio::ip::tcp::endpoint const& endpoint);
    void require_delimiter() const;
    std::size_t buffered_line() const;
    std::string take(std::size_t n, std::size_t delimiter);

    Config config_;
    boost::asio::io_context context_;
    boost::asio::ip::tcp::socket socket_;
    boost::asio::steady_timer timer_;
    Clock::time_point deadline_ = Clock::time_point::max();
    bool wait_pending_ = false;
    boost::asio::streambuf received_;
};
