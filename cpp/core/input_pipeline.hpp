// The input reader on two threads: the document is parsed on a thread of its own (expat needs
// no interpreter) while the calling thread decodes the top-level elements read so far and hands
// them to its sink, which makes the objects. (Decoding stays with the calling thread because
// expat alone keeps the parse thread the busier of the two.)
//
// What the sink sees is what the reader alone gives it: the same entries in document order,
// then the settings, or the failure where the reader alone would fail. A failure of the parse
// reaches the caller only after every element before it is decoded; a failure of the decoder or
// the sink stops the parse.
// The document is parsed on the calling thread until its root element begins (the host's
// handler of an unknown encoding runs there, with whatever it needs of the caller), and a piece
// at a time after that. Memory stays bounded: a few pieces and entries are in flight at most.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/input_read.hpp"
#include "core/input_tree.hpp"

namespace marlox::input_read {

class Pipeline {
  public:
    // How the calling thread waits: it runs `wait` having let go of whatever the parse thread
    // may need meanwhile (for a binding, the interpreter lock).
    using Unlocked = std::function<void(const std::function<void()> &wait)>;

    // `threads` 1: everything on the calling thread, as the reader alone does it.
    Pipeline(const expat::Host &host, Sink &sink, int threads, Unlocked unlocked);
    ~Pipeline();  // stops the parse thread
    Pipeline(const Pipeline &) = delete;
    Pipeline &operator=(const Pipeline &) = delete;

    // The next part of the document, of any size; `final` on the last. The data is copied
    // before this returns. Throws what the reader or the sink throws.
    void feed(const char *data, std::size_t len, bool final);

    // The size of the pieces that the parse thread is given (a few are in flight at most), and
    // what the calling thread parses itself before it starts the parse thread.
    static constexpr std::size_t kPiece = 1 << 18;

  private:
    // What the parse thread queues for the calling thread.
    struct Entry {
        std::unique_ptr<TopLevel> top;  // nullptr: the end
        std::exception_ptr failure;     // the end: the parse's failure, if any
    };
    class Queue : public Handoff {
      public:
        explicit Queue(Pipeline &p) : p_(p) {}
        void read(std::unique_ptr<TopLevel> &top) override;

      private:
        Pipeline &p_;
    };
    struct Stopped {};  // thrown on the parse thread when the caller has gone

    bool start();
    void run();
    // The calling thread: `pending_` to the parse thread.
    void push(bool last);
    // The parse thread: an element read, or the end.
    void queue(Entry entry);
    // Decode the elements queued, the sink taking their objects; true once the end is reached.
    bool deliver();
    void wait_for(const std::function<bool()> &ready);
    void stop();

    Queue queue_{*this};
    Reader reader_;
    int threads_;
    Unlocked unlocked_;
    std::size_t fed_ = 0;
    std::string pending_;  // the piece being filled

    // Shared with the parse thread, under `mutex_`.
    std::mutex mutex_;
    std::condition_variable to_parse_, to_caller_;
    std::deque<std::string> pieces_;  // to parse, the last one final when `final_`
    bool final_ = false;
    std::vector<std::string> spare_pieces_;
    std::deque<Entry> entries_;
    std::vector<std::unique_ptr<TopLevel>> spare_tops_;
    bool stopping_ = false, ended_ = false;
    std::thread thread_;
};

}  // namespace marlox::input_read
