// Pieces of one job worked on by a few threads and handed to one consumer in their order, with
// a bounded window: a worker begins the next piece not yet begun only while fewer than `window`
// pieces are begun and not yet taken by the consumer. What the pieces make (a tree each) thus
// stays bounded by the window, never by the number of pieces, and a consumer that stops early
// pays for at most the window. Python-free: the workers run without the interpreter.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace marlox::results {

class OrderedPieces {
  public:
    // Works on piece `k` on a worker thread; true when the piece is done whole. `cancel` turns
    // true when the consumer no longer wants any piece. An exception counts as false.
    using Work = std::function<bool(std::size_t k, const std::atomic<bool> &cancel)>;

    OrderedPieces(std::size_t count, std::size_t window, Work work);
    ~OrderedPieces();
    OrderedPieces(const OrderedPieces &) = delete;
    OrderedPieces &operator=(const OrderedPieces &) = delete;

    // Starts `threads` workers (std::system_error when the system has none to give: those
    // started are stopped and joined first).
    void start(unsigned threads);

    // Waits up to `timeout` for piece `k` to end; true once it has. Taking piece k (see take)
    // lets a worker begin the next piece after the window.
    bool wait(std::size_t k, std::chrono::milliseconds timeout);
    // Piece `k` has ended (wait returned true): whether it was done whole. The consumer owns
    // what the piece made from now on.
    bool take(std::size_t k);

    // No piece begins any more; those under way see `cancel`; the workers are joined.
    void stop() noexcept;

    // Pieces begun by any runner in this process so far (for tests of an early stop).
    static std::uint64_t begun_total() noexcept { return begun_total_.load(); }

  private:
    enum class End : std::uint8_t { Pending, Done, Failed };

    void run() noexcept;

    const std::size_t count_, window_;
    Work work_;
    std::mutex mutex_;
    std::condition_variable can_begin_, ended_cv_;
    std::vector<End> ends_;
    std::size_t next_ = 0;   // the next piece to begin
    std::size_t taken_ = 0;  // pieces the consumer has taken
    std::size_t limit_;      // no piece from here on begins (after a failed one)
    bool stopping_ = false;
    std::atomic<bool> cancel_{false};
    std::vector<std::thread> threads_;
    static std::atomic<std::uint64_t> begun_total_;
};

}  // namespace marlox::results
