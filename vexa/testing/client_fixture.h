#pragma once

#include <chrono>
#include <filesystem>
#include <iterator>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <vexa/net/tcpip.h>
#include <vexa/testing/loopback.h>

/// Expect that the statement throws boost::system::system_error with this code and exactly this text.
#define VEXA_EXPECT_CODE(statement, expected_code, text)                                                     \
    do {                                                                                                     \
        bool vexa_thrown_ = false;                                                                           \
        try {                                                                                                \
            (void)(statement);                                                                               \
        } catch (boost::system::system_error const& vexa_caught_) {                                          \
            vexa_thrown_ = true;                                                                             \
            EXPECT_EQ(vexa_caught_.code(), boost::system::error_code(expected_code));                        \
            EXPECT_EQ(std::string(vexa_caught_.what()), std::string(text));                                  \
        }                                                                                                    \
        EXPECT_TRUE(vexa_thrown_) << #statement " throws no system_error";                                   \
    } while (false)

#define VEXA_EXPECT_TIMED_OUT(statement)                                                                     \
    VEXA_EXPECT_CODE(statement, boost::asio::error::operation_aborted, "Operation canceled")
#define VEXA_EXPECT_CLOSED(statement)                                                                        \
    VEXA_EXPECT_CODE(statement, boost::asio::error::bad_descriptor, "Bad file descriptor")

namespace Vexa::testing {

/// What a test that must not time out waits at most, and so never does.
inline constexpr vx::utility::duration patience = std::chrono::seconds(60);
/// What a test that must time out waits.
inline constexpr vx::utility::duration moment = std::chrono::milliseconds(20);

inline VTcpClient::Config patient_config() {
    VTcpClient::Config config;
    config.read_timeout = config.write_timeout = patience;
    return config;
}

inline std::ptrdiff_t open_descriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

/// A client that is patient, and a listener for it to connect to.
class ClientTest : public ::testing::Test {
protected:
    ClientTest() { client.configure(config); }

    Peer connect() {
        client.connect("127.0.0.1", listener.port(), patience);
        return listener.accept();
    }
    void set_read_timeout(vx::utility::duration timeout) {
        config.read_timeout = timeout;
        client.configure(config);
    }
    void set_write_timeout(vx::utility::duration timeout) {
        config.write_timeout = timeout;
        client.configure(config);
    }
    void set_delimiters(std::string read, std::string write) {
        config.read_delimiter = std::move(read);
        config.write_delimiter = std::move(write);
        client.configure(config);
    }

    Listener listener;
    VTcpClient::Config config = patient_config();
    VTcpClient client;
};

} // namespace Vexa::testing
