// Pieces of one job worked on by a few threads and handed to one consumer in their order, with
// a bounded window: a worker begins the next piece not yet begun only while fewer than `window`
// pieces are begun and not yet taken by the consumer. What the pieces make (a tree each) thus
// stays bounded by the window, never by the number of pieces, and a consumer that stops early
// pays for at most the window. The number of pieces may be found out as they are worked on
// (set_count). Python-free: the workers run without the interpreter.
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

    // At most `count` pieces.
    OrderedPieces(std::size_t count, std::size_t window, Work work);
    ~OrderedPieces();
    OrderedPieces(const OrderedPieces &) = delete;
    OrderedPieces &operator=(const OrderedPieces &) = delete;

    // Starts `threads` workers (std::system_error when the system has none to give: those
    // started are stopped and joined first).
    void start(unsigned threads);

    // There are only `count` pieces (called by a worker that finds it out).
    void set_count(std::size_t count);

    enum class End : std::uint8_t {
        Pending,
        Done,    // done whole: the consumer owns what the piece made once it takes it
        Failed,  // nothing after it is begun
        None,    // there is no such piece
    };
    // Waits up to `timeout` for piece `k` to end; true once it has (or is known not to be).
    bool wait(std::size_t k, std::chrono::milliseconds timeout);
    // How piece `k` ended (wait returned true). Taking it lets a worker begin the next piece
    // after the window.
    End take(std::size_t k);

    // No piece begins any more; those under way see `cancel`; the workers are joined.
    void stop() noexcept;

    // Pieces begun by any runner in this process so far (for tests of an early stop).
    static std::uint64_t begun_total() noexcept { return begun_total_.load(); }

  private:
    void run() noexcept;

    const std::size_t window_;
    Work work_;
    std::mutex mutex_;
    std::condition_variable can_begin_, ended_cv_;
    std::vector<End> ends_;
    std::size_t count_;      // the pieces there are, or at most
    std::size_t limit_;      // no piece from here on begins (after a failed one, or none)
    std::size_t next_ = 0;   // the next piece to begin
    std::size_t taken_ = 0;  // pieces the consumer has taken
    bool stopping_ = false;
    std::atomic<bool> cancel_{false};
    std::vector<std::thread> threads_;
    static std::atomic<std::uint64_t> begun_total_;
};

}  // namespace marlox::results
