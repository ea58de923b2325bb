// Questions to an instrument that speaks lines of text over TCP. The instrument is a thread of this program, on a
// port of the loopback device.

#include <chrono>
#include <functional>
#include <iostream>
#include <string>
#include <thread>

#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>

#include <vexa/net/tcpip.h>

using boost::asio::ip::tcp;

namespace {

/// Answer one client: a number is the position to move to, anything else asks for it. "bye" ends the talk.
void serve(tcp::acceptor& acceptor) {
    tcp::socket socket = acceptor.accept();
    std::string received, position = "0";
    while (true) {
        std::size_t const n = boost::asio::read_until(socket, boost::asio::dynamic_buffer(received), "\r\n");
        std::string const line = received.substr(0, n - 2);
        received.erase(0, n);
        if (line == "bye") return;
        if (line != "position?") position = line;
        boost::asio::write(socket, boost::asio::buffer(position + " um\r\n"));
    }
}

} // namespace

int main() {
    boost::asio::io_context context;
    tcp::acceptor acceptor(context, {boost::asio::ip::address_v4::loopback(), 0});
    std::thread instrument(serve, std::ref(acceptor));

    VTcpClient client;
    client.configure({std::chrono::seconds(10), std::chrono::seconds(10), "\r\n", "\r\n"});
    client.connect("127.0.0.1", std::to_string(acceptor.local_endpoint().port()), std::chrono::seconds(10));
    std::cout << client.query("position?") << '\n';
    std::cout << client.query("12.5") << '\n';
    std::cout << client.query("position?") << '\n';
    client.write_line("bye");
    try {
        client.read_line();
    } catch (boost::system::system_error const& error) {
        if (error.code() != boost::asio::error::eof) throw;
        std::cout << "The instrument has closed the connection.\n";
    }
    instrument.join();
}
