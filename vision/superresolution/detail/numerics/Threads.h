#ifndef ORAVO_VISION_DETAIL_NUMERICS_THREADS_H
#define ORAVO_VISION_DETAIL_NUMERICS_THREADS_H

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace oravo::vision::detail {

/// Rows of an image, from the first to one before the end.
struct Band {
    int first = 0;
    int end = 0;
};

/// The threads that share one piece of work, the calling one among them. None is started before there is work for two.
/// Copies share them; different objects may work at once, each within its own number. In a process that was forked from one
/// with threads, the calling thread does all of the work.
///
/// What a part computes must depend neither on the parts before it nor on how many parts there are, and sums over parts have
/// to be added in the order of the parts. Then results have the same bits for every number of threads.
class Threads {
  public:
    static constexpr int kMost = 64;

    /// The calling thread alone.
    Threads() = default;
    /// @param count  1 to kMost; 0 for one on each processor that the process may use
    explicit Threads(int count);

    int count() const { return count_; }
    /// The count of Threads(count). Throws oravo::Exception for numbers that are none.
    static int settled(int count);

    /// Calls body(part, slot) for the parts 0 to parts - 1, in any order. Parts that run at the same time have different slots
    /// in 0 .. count() - 1, for memory to work in. What a part throws is passed on, once the others have ended.
    template <class Body>
    void forEach(int parts, const Body& body) const {
        if (count_ == 1 || parts < 2) {
            for (int part = 0; part < parts; ++part) body(part, 0);
        } else {
            run(parts, &callPart<Body>, &body);
        }
    }

    /// The same, and calls finish(part) after each part and after finish() of the part before it: for sums whose order is
    /// fixed. No thread waits for its turn; the next part is begun instead.
    template <class Body, class Finish>
    void inOrder(int parts, const Body& body, const Finish& finish) const {
        if (count_ == 1 || parts < 2) {
            for (int part = 0; part < parts; ++part) {
                body(part, 0);
                finish(part);
            }
        } else {
            runInOrder(parts, &callPart<Body>, &body, &callFinish<Finish>, &finish);
        }
    }

    /// How many bands to divide rows into: one for each thread, but none of fewer than `least` rows.
    int bands(int rows, int least) const { return std::clamp(rows / least, 1, count_); }

    /// Calls body(first, end, slot) for bands of the rows.
    template <class Body>
    void forRows(int rows, const Body& body) const {
        const int parts = bands(rows, kLeastRows);
        forEach(parts, [&](int part, int slot) {
            const Band band = bandOf(part, parts, rows);
            body(band.first, band.end, slot);
        });
    }

    /// One of `bands` bands of about the same height.
    static Band bandOf(int band, int bands, int rows) {
        const auto edge = [&](int i) { return static_cast<int>(static_cast<long long>(rows) * i / bands); };
        return {edge(band), edge(band + 1)};
    }

    /// Calls body(y) for each row.
    template <class Body>
    void forEachRow(int rows, const Body& body) const {
        forRows(rows, [&](int first, int end, int) {
            for (int y = first; y < end; ++y) body(y);
        });
    }

    /// What body(y, found) appends to a vector, row after row.
    template <class T, class Body>
    std::vector<T> gatherRows(int rows, const Body& body) const {
        const int parts = bands(rows, kLeastRows);
        std::vector<std::vector<T>> found(static_cast<std::size_t>(parts));
        forEach(parts, [&](int part, int) {
            const Band band = bandOf(part, parts, rows);
            for (int y = band.first; y < band.end; ++y) body(y, found[static_cast<std::size_t>(part)]);
        });
        std::vector<T> all = std::move(found.front());
        for (std::size_t i = 1; i < found.size(); ++i)
            all.insert(all.end(), found[i].begin(), found[i].end());
        return all;
    }

  private:
    static constexpr int kLeastRows = 32;  ///< of a band

    using Part = void (*)(const void* body, int part, int slot);
    using Finished = void (*)(const void* finish, int part);

    template <class Body>
    static void callPart(const void* body, int part, int slot) {
        (*static_cast<const Body*>(body))(part, slot);
    }
    template <class Finish>
    static void callFinish(const void* finish, int part) {
        (*static_cast<const Finish*>(finish))(part);
    }

    void run(int parts, Part call, const void* body) const;
    void runInOrder(int parts, Part call, const void* body, Finished done, const void* finish) const;

    struct Arena;
    int count_ = 1;
    std::shared_ptr<Arena> arena_;
};

/// Memory to work in, for each slot of a piece of work, made by the first part that asks for it.
template <class T>
class PerSlot {
  public:
    explicit PerSlot(const Threads& threads) : slots_(static_cast<std::size_t>(threads.count())) {}

    template <class... Arguments>
    T& at(int slot, const Arguments&... arguments) {
        std::optional<T>& made = slots_[static_cast<std::size_t>(slot)];
        return made ? *made : made.emplace(arguments...);
    }

  private:
    std::vector<std::optional<T>> slots_;
};

}  // namespace oravo::vision::detail

#endif
