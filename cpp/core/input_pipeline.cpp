#include "core/input_pipeline.hpp"

#include <algorithm>
#include <system_error>
#include <utility>

namespace marlox::input_read {

namespace {

constexpr std::size_t kMaxPieces = 2;     // waiting to be parsed, besides the one being parsed
constexpr std::size_t kBatch = 32;        // entries the caller is woken for
constexpr std::size_t kMaxEntries = 128;  // read and not yet taken by the caller

}  // namespace

Pipeline::Pipeline(const expat::Host &host, Sink &sink, int threads, Unlocked unlocked)
    : reader_(host, sink), threads_(threads), unlocked_(std::move(unlocked)) {}

Pipeline::~Pipeline() { stop(); }

void Pipeline::stop() {
    {
        std::lock_guard<std::mutex> lock(mutex_);
        stopping_ = true;
    }
    to_parse_.notify_all();
    if (thread_.joinable()) thread_.join();
}

// The parse thread waits for its first piece; a thread that cannot be made leaves the reading
// on the calling thread.
bool Pipeline::start() {
    try {
        thread_ = std::thread(&Pipeline::run, this);
    } catch (const std::system_error &) {
        threads_ = 1;
        return false;
    }
    reader_.hand_over(queue_);
    pending_.reserve(kPiece);
    return true;
}

void Pipeline::feed(const char *data, std::size_t len, bool final) {
    std::size_t done = 0;
    // On the calling thread: the prolog, the first piece, and everything when alone.
    while (!thread_.joinable()) {
        if (threads_ > 1 && fed_ >= kPiece && reader_.past_prolog() && (done < len || final) &&
            start())
            break;
        const std::size_t n = std::min(kPiece, len - done);
        const bool last = final && done + n == len;
        reader_.feed(data + done, n, last);
        done += n;
        fed_ += n;
        if (done == len) return;
    }
    // To the parse thread, in whole pieces however the document comes, handing over what it
    // has read meanwhile.
    while (done < len) {
        const std::size_t n = std::min(kPiece - pending_.size(), len - done);
        pending_.append(data + done, n);
        done += n;
        if (pending_.size() == kPiece) push(false);
    }
    if (!final) return;
    push(true);
    while (!deliver()) wait_for([this] { return entries_.size() >= kBatch || ended_; });
}

void Pipeline::push(bool last) {
    for (;;) {
        if (deliver()) return;
        std::unique_lock<std::mutex> lock(mutex_);
        if (pieces_.size() < kMaxPieces) {
            pieces_.push_back(std::move(pending_));
            final_ = last;
            pending_.clear();
            if (!spare_pieces_.empty()) {
                pending_ = std::move(spare_pieces_.back());
                spare_pieces_.pop_back();
                pending_.clear();
            }
            lock.unlock();
            to_parse_.notify_one();
            return;
        }
        lock.unlock();
        wait_for(
            [this] { return pieces_.size() < kMaxPieces || entries_.size() >= kBatch || ended_; });
    }
}

void Pipeline::wait_for(const std::function<bool()> &ready) {
    unlocked_([&] {
        std::unique_lock<std::mutex> lock(mutex_);
        to_caller_.wait(lock, ready);
    });
}

bool Pipeline::deliver() {
    std::deque<Entry> taken;
    {
        std::lock_guard<std::mutex> lock(mutex_);
        if (entries_.empty()) return false;
        taken.swap(entries_);
    }
    to_parse_.notify_one();
    std::vector<std::unique_ptr<TopLevel>> used;
    used.reserve(taken.size());
    for (Entry &entry : taken) {
        if (!entry.top) {
            if (entry.failure) std::rethrow_exception(entry.failure);
            reader_.finish();
            return true;
        }
        reader_.decode(*entry.top);
        used.push_back(std::move(entry.top));
    }
    std::lock_guard<std::mutex> lock(mutex_);
    for (auto &top : used) spare_tops_.push_back(std::move(top));
    return false;
}

// --- the parse thread ------------------------------------------------------------------------

void Pipeline::run() {
    for (;;) {
        std::string piece;
        bool last = false;
        {
            std::unique_lock<std::mutex> lock(mutex_);
            to_parse_.wait(lock, [this] { return stopping_ || !pieces_.empty(); });
            if (stopping_) return;
            piece = std::move(pieces_.front());
            pieces_.pop_front();
            last = final_ && pieces_.empty();
        }
        to_caller_.notify_one();  // room for another piece
        Entry end;
        try {
            reader_.feed(piece.data(), piece.size(), last);
        } catch (const Stopped &) {
            return;
        } catch (...) {
            end.failure = std::current_exception();
        }
        if (end.failure || last) {
            std::lock_guard<std::mutex> lock(mutex_);
            entries_.push_back(std::move(end));
            ended_ = true;
        } else {
            std::lock_guard<std::mutex> lock(mutex_);
            spare_pieces_.push_back(std::move(piece));
            continue;
        }
        to_caller_.notify_one();
        return;
    }
}

void Pipeline::queue(Entry entry) {
    std::unique_lock<std::mutex> lock(mutex_);
    to_parse_.wait(lock, [this] { return stopping_ || entries_.size() < kMaxEntries; });
    if (stopping_) throw Stopped{};
    entries_.push_back(std::move(entry));
    if (entries_.size() == kBatch) {
        lock.unlock();
        to_caller_.notify_one();
    }
}

void Pipeline::Queue::read(std::unique_ptr<TopLevel> &top) {
    Entry entry;
    entry.top = std::move(top);
    p_.queue(std::move(entry));
    std::lock_guard<std::mutex> lock(p_.mutex_);
    if (!p_.spare_tops_.empty()) {
        top = std::move(p_.spare_tops_.back());
        p_.spare_tops_.pop_back();
    }
}

}  // namespace marlox::input_read
