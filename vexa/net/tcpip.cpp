#include <vexa/net/tcpip.h>

#include <exception>
#include <stdexcept>
#include <string_view>

#include <boost/asio/buffer.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>

namespace error = boost::asio::error;
using boost::asio::ip::tcp;
using boost::system::error_code;
using boost::system::system_error;

namespace {

/// The point \p timeout from now on. The limits are held in microseconds, the clock counts nanoseconds up to
/// its maximum, which a long limit does not pass.
std::chrono::steady_clock::time_point deadline_after(vx::utility::duration timeout) {
    using Clock = std::chrono::steady_clock;
    auto const now = Clock::now();
    if (timeout.count() <= 0) return now;
    auto const left = std::chrono::floor<vx::utility::duration>(Clock::time_point::max() - now);
    return timeout < left ? now + timeout : Clock::time_point::max();
}

} // namespace

VTcpClient::VTcpClient() : socket_(context_), timer_(context_), received_(max_line_size) { arm_timer(); }

VTcpClient::~VTcpClient() { close_quietly(); }

void VTcpClient::configure(VTcpClient::Config const& config) { config_ = config; }

void VTcpClient::connect(std::string const& host, std::string const& service, vx::utility::duration timeout) {
    close_quietly();
    received_.consume(received_.size());
    // The resolver would stop at the NUL, and so name another machine.
    if (host.find('\0') != std::string::npos) throw system_error(error::host_not_found, "resolve");
    if (service.find('\0') != std::string::npos) throw system_error(error::service_not_found, "resolve");
    auto const endpoints = tcp::resolver(context_).resolve(host, service);

    set_deadline(timeout);
    error_code reason = error::host_not_found;
    for (auto const& entry : endpoints) {
        reason = connect_to(entry.endpoint());
        if (!reason) return;
        close_quietly();
        if (reason == error::operation_aborted) break;
    }
    throw system_error(reason);
}

error_code VTcpClient::connect_to(tcp::endpoint const& endpoint) {
    error_code reason;
    socket_.open(endpoint.protocol(), reason);
    if (reason) return reason;
    reason = run([&](auto handler) { socket_.async_connect(endpoint, handler); }).error;
    // The deadline may close a socket that has connected, before the loop comes to the handler that says so.
    return socket_.is_open() ? reason : error::operation_aborted;
}

void VTcpClient::write_data(char const* data, unsigned long n) {
    set_deadline(config_.write_timeout);
    auto const result =
        run([&](auto handler) { boost::asio::async_write(socket_, boost::asio::buffer(data, n), handler); });
    if (!result.error) return;
    end(tcp::socket::shutdown_send);
    throw system_error(result.error);
}

void VTcpClient::write_line(std::string const& line) {
    std::string const data = line + config_.write_delimiter;
    write_data(data.data(), data.size());
}

std::string VTcpClient::read_line() {
    require_delimiter();
    // A line that is here needs no turn of the loop, unless that closes the socket.
    if (socket_.is_open() && config_.read_timeout.count() > 0)
        if (auto const n = buffered_line()) return take(n, config_.read_delimiter.size());

    set_deadline(config_.read_timeout);
    auto const result = run([&](auto handler) {
        boost::asio::async_read_until(socket_, received_, config_.read_delimiter, handler);
    });
    if (!result.error) return take(result.count, config_.read_delimiter.size());
    if (result.error == error::not_found) { // the buffer is full
        close_quietly();
        received_.consume(received_.size());
        throw system_error(error::message_size,
                           "Received " + std::to_string(max_line_size) + " bytes without a delimiter");
    }
    end(tcp::socket::shutdown_receive);
    if (received_.size() > 0) return take(received_.size(), 0);
    throw system_error(result.error);
}

std::string VTcpClient::query(std::string line) {
    require_delimiter(); // before the peer acts on the line
    write_line(line);
    return read_line();
}

void VTcpClient::disconnect() {
    if (socket_.is_open()) socket_.close();
}

void VTcpClient::require_delimiter() const {
    if (config_.read_delimiter.empty())
        throw std::invalid_argument("Cannot read a line, read_delimiter is empty.");
}

/// The size of the first line in the buffer, delimiter included; 0 without a whole one.
std::size_t VTcpClient::buffered_line() const {
    std::string_view const bytes(static_cast<char const*>(received_.data().data()), received_.size());
    auto const found = bytes.find(config_.read_delimiter);
    return found == bytes.npos ? 0 : found + config_.read_delimiter.size();
}

/// Take \p n bytes out of the buffer.
/// \param delimiter how many at their end are not part of the result.
std::string VTcpClient::take(std::size_t n, std::size_t delimiter) {
    auto const* const bytes = static_cast<char const*>(received_.data().data());
    std::string line(bytes, n > delimiter ? n - delimiter : 0);
    received_.consume(n);
    return line;
}

/// Start an operation and serve the loop until its handler has run. The timer is served by the same loop, so
/// that a deadline needs no thread: it closes the socket, and the operation ends with an error.
/// \param start starts the operation with the handler that it is given.
template <typename Start>
VTcpClient::Result VTcpClient::run(Start start) {
    bool const was_open = socket_.is_open();
    Result result{error::would_block, 0};
    try {
        context_.restart();
        start([&result](error_code const& code, std::size_t count = 0) { result = {code, count}; });
        while (result.error == error::would_block) context_.run_one();
    } catch (std::exception const& failure) {
        abandon();
        throw std::runtime_error(failure.what());
    }
    // An operation of several steps may meet the closed socket rather than be interrupted.
    if (result.error && was_open && !socket_.is_open()) result.error = error::operation_aborted;
    return result;
}

/// Shut down what the peer has ended already. The loop waits for news of the socket, and an error that was
/// told once is none: without this the next operation would wait for its deadline rather than meet the error
/// again.
void VTcpClient::end(tcp::socket::shutdown_type direction) {
    error_code ignored;
    socket_.shutdown(direction, ignored);
}

/// End the operation that runs, and let its handler run while what it refers to is alive.
void VTcpClient::abandon() {
    close_quietly();
    for (bool more = true; more;) {
        try {
            more = context_.poll_one() > 0;
        } catch (std::exception const&) { // the failing handler is gone; go on with the next
        }
    }
}

void VTcpClient::close_quietly() {
    error_code ignored;
    socket_.close(ignored);
}

void VTcpClient::set_deadline(vx::utility::duration timeout) {
    // The handler of the cancelled wait arms the timer again. A wait that has ended, but was not served since
    // the call before, does no harm either: its handler sees the new deadline.
    if (wait_pending_) timer_.cancel();
    deadline_ = deadline_after(timeout);
    if (!wait_pending_) arm_timer();
}

void VTcpClient::arm_timer() {
    timer_.expires_at(deadline_);
    timer_.async_wait([this](error_code const&) {
        wait_pending_ = false;
        check_deadline();
    });
    wait_pending_ = true;
}

void VTcpClient::check_deadline() {
    if (Clock::now() >= deadline_) {
        close_quietly();
        deadline_ = Clock::time_point::max();
    }
    arm_timer();
}
