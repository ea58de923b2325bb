#include <vexa/bf/WorkItem_internal.h>

#include <exception>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace Vexa::bf {

class WorkItem::Ticket {
public:
    explicit Ticket(std::function<void()> work) : work_(std::move(work)) {}

    /// On a thread of the executor, which sees no exception: not every executor carries it on.
    void run() {
        std::lock_guard const lock(mutex_);
        if (std::exchange(closed_, true)) return;
        ran_ = true;
        try {
            work_();
        } catch (...) {
            failure_ = std::current_exception();
        }
    }

    void close() {
        std::lock_guard const lock(mutex_);
        closed_ = true;
    }

    /// After close(). The exception leaves the ticket, so that the caller's thread alone ends it.
    void check() {
        if (failure_) std::rethrow_exception(std::exchange(failure_, nullptr));
        if (!ran_) throw std::runtime_error("Work item was not executed.");
    }

private:
    std::mutex mutex_;
    std::function<void()> work_;
    std::exception_ptr failure_;
    bool closed_ = false;
    bool ran_ = false;
};

WorkItem::WorkItem(ThreadingSupport const& threads, std::function<void()> work)
    : ticket_(std::make_shared<Ticket>(std::move(work))) {
    try {
        future_ = threads.execute([ticket = ticket_] { ticket->run(); });
    } catch (...) {
        ticket_->close();
        throw;
    }
}

WorkItem::~WorkItem() {
    ticket_->close();
    if (future_.valid()) future_.wait();
}

void WorkItem::get() {
    if (future_.valid()) future_.get();
    ticket_->close();
    ticket_->check();
}

} // namespace Vexa::bf
