#include "core/ordered_pieces.hpp"

#include <algorithm>

namespace marlox::results {

std::atomic<std::uint64_t> OrderedPieces::begun_total_{0};

OrderedPieces::OrderedPieces(std::size_t count, std::size_t window, Work work)
    : window_(std::max<std::size_t>(window, 1)),
      work_(std::move(work)),
      ends_(count, End::Pending),
      count_(count),
      limit_(count) {}

OrderedPieces::~OrderedPieces() { stop(); }

void OrderedPieces::start(unsigned threads) {
    try {
        for (unsigned i = 0; i < threads; ++i) threads_.emplace_back([this] { run(); });
    } catch (...) {
        stop();
        throw;
    }
}

void OrderedPieces::run() noexcept {
    for (;;) {
        std::size_t k;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            can_begin_.wait(
                lock, [&] { return stopping_ || next_ >= limit_ || next_ < taken_ + window_; });
            if (stopping_ || next_ >= limit_) return;
            k = next_++;
        }
        ++begun_total_;
        bool ok = false;
        try {
            ok = work_(k, cancel_);
        } catch (...) {
            ok = false;
        }
        {
            std::lock_guard<std::mutex> lock(mutex_);
            ends_[k] = ok ? End::Done : End::Failed;
            // What follows a failed piece is of no use: the consumer goes another way there.
            if (!ok) limit_ = std::min(limit_, k + 1);
        }
        ended_cv_.notify_all();
        if (!ok) can_begin_.notify_all();
    }
}

void OrderedPieces::set_count(std::size_t count) {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        count_ = std::min(count_, count);
        limit_ = std::min(limit_, count);
    }
    ended_cv_.notify_all();
    can_begin_.notify_all();
}

bool OrderedPieces::wait(std::size_t k, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    return ended_cv_.wait_for(lock, timeout,
                              [&] { return k >= count_ || ends_[k] != End::Pending; });
}

OrderedPieces::End OrderedPieces::take(std::size_t k) {
    End end;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        end = k >= count_ ? End::None : ends_[k];
        taken_ = std::max(taken_, k + 1);
    }
    can_begin_.notify_all();
    return end;
}

void OrderedPieces::stop() noexcept {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    cancel_ = true;
    can_begin_.notify_all();
    for (std::thread &t : threads_) {
        if (t.joinable()) t.join();
    }
    threads_.clear();
}

}  // namespace marlox::results
