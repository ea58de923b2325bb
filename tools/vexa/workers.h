#pragma once

#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>
#include <vexa/bf/DiskFileAccess.h>

namespace Vexa::tool {

/// Threads that compress and decompress for a file. Must outlive all work on the file.
class Workers {
public:
    /// \param threads 0 and 1 make no threads
    explicit Workers(unsigned threads) : threads_(threads) {
        if (threads > 1) pool_ = std::make_unique<boost::asio::thread_pool>(threads);
    }
    Workers(Workers const&) = delete;
    Workers& operator=(Workers const&) = delete;
    ~Workers() {
        if (pool_) pool_->join();
    }

    bf::ThreadingSupport support() {
        bf::ThreadingSupport support;
        if (!pool_) return support;
        support.number_of_threads = threads_;
        support.execute = [this](std::function<void()> work) {
            auto task = std::make_shared<std::packaged_task<void()>>(std::move(work));
            auto future = task->get_future();
            boost::asio::post(*pool_, [task] { (*task)(); });
            return future;
        };
        return support;
    }

private:
    unsigned threads_;
    std::unique_ptr<boost::asio::thread_pool> pool_;
};

/// Call `write(threads)`. Where the library finds that several streams have no room for a block that does not
/// shrink, call it again with one thread.
inline void write_by_threads(unsigned threads, std::function<void(unsigned)> const& write) {
    try {
        write(threads);
    } catch (std::runtime_error const& error) {
        if (threads < 2 || std::string(error.what()) != "ZIP buffer unexpectedly too small.") throw;
        write(1);
    }
}

} // namespace Vexa::tool
