#pragma once

#include <functional>
#include <future>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include <boost/asio/post.hpp>
#include <boost/asio/thread_pool.hpp>

#include <vexa/bf/DiskFileAccess.h>

/// Ways to run the work items of a device. Each function gives the ThreadingSupport for \p n streams.
namespace Vexa::testing {

using Work = std::function<void()>;

/// Runs each item at once, on the calling thread.
inline Vexa::bf::ThreadingSupport inline_execution(unsigned long n) {
    return {n, [](Work work) {
                std::packaged_task<void()> task(std::move(work));
                task();
                return task.get_future();
            }};
}

/// Runs each item as late as it can: when its future is waited for.
inline Vexa::bf::ThreadingSupport deferred_execution(unsigned long n) {
    return {n, [](Work work) { return std::async(std::launch::deferred, std::move(work)); }};
}

/// Collects items, and when one of them is waited for runs all that it has, the last one first.
inline Vexa::bf::ThreadingSupport reversed_execution(unsigned long n) {
    auto const waiting = std::make_shared<std::vector<std::shared_ptr<std::packaged_task<void()>>>>();
    return {n, [waiting](Work work) {
                auto const task = std::make_shared<std::packaged_task<void()>>(std::move(work));
                auto const done = std::make_shared<std::future<void>>(task->get_future());
                waiting->push_back(task);
                return std::async(std::launch::deferred, [waiting, done] {
                    auto const batch = std::exchange(*waiting, {});
                    for (auto next = batch.rbegin(); next != batch.rend(); ++next) (**next)();
                    done->get();
                });
            }};
}

/// Runs items on the threads of \p pool, which must outlive the use.
inline Vexa::bf::ThreadingSupport pooled_execution(unsigned long n, boost::asio::thread_pool& pool) {
    return {n, [&pool](Work work) {
                auto const task = std::make_shared<std::packaged_task<void()>>(std::move(work));
                boost::asio::post(pool, [task] { (*task)(); });
                return task->get_future();
            }};
}

/// Passes items on to \p base, but call number \p at (from 0) and all behind it throw
/// std::runtime_error "no thread".
inline Vexa::bf::ThreadingSupport throwing_execution(Vexa::bf::ThreadingSupport base, unsigned long at) {
    auto const count = std::make_shared<unsigned long>(0);
    auto const execute = base.execute;
    return {base.number_of_threads, [execute, count, at](Work work) {
                if ((*count)++ >= at) throw std::runtime_error("no thread");
                return execute(std::move(work));
            }};
}

/// Passes items on to \p base, but item number \p at (from 0) does not run, and its future has
/// std::runtime_error "worker failure".
inline Vexa::bf::ThreadingSupport failing_execution(Vexa::bf::ThreadingSupport base, unsigned long at) {
    auto const count = std::make_shared<unsigned long>(0);
    auto const execute = base.execute;
    return {base.number_of_threads, [execute, count, at](Work work) {
                if ((*count)++ != at) return execute(std::move(work));
                std::promise<void> failed;
                failed.set_exception(std::make_exception_ptr(std::runtime_error("worker failure")));
                return failed.get_future();
            }};
}

} // namespace Vexa::testing
