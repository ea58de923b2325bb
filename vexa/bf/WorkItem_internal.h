#pragma once

#include <functional>
#include <future>
#include <memory>

#include <vexa/bf/DiskFileAccess.h>

namespace Vexa::bf {

/// A piece of work in the hands of the application's executor.
///
/// The work borrows buffers and streams, so it must never run once its owner is gone, whatever the executor
/// does with the function it was given: run it late, twice, from a copy, or keep it after a throw. Hence what
/// the executor gets is a ticket that can be closed: closing waits for work that runs and keeps work that has
/// not started from ever starting.
/// Threads: the functions belong to the thread that made the item.
class WorkItem {
public:
    /// Hand \p work out to \p threads. An exception of the executor passes through, and the work will not
    /// run.
    WorkItem(ThreadingSupport const& threads, std::function<void()> work);
    WorkItem(WorkItem const&) = delete;
    WorkItem& operator=(WorkItem const&) = delete;
    /// Closes the ticket and waits for the executor's future.
    ~WorkItem();

    /// Wait until the work is done and rethrow what it threw. To be called once.
    /// \throws std::runtime_error "Work item was not executed." if the executor says done without having run
    /// it
    void get();

private:
    class Ticket;
    std::shared_ptr<Ticket> ticket_;
    std::future<void> future_;
};

} // namespace Vexa::bf
