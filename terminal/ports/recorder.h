/** The other end of an ordinary port: keeps what the terminal sends until somebody asks for it. */
#pragma once

#include "terminal/ports/port.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace kt::terminal {

/** Threads: any. */
class recorder : public far_end {
public:
    /** The newest bytes that are kept; older ones are lost when nobody takes them. */
    static constexpr std::size_t capacity = std::size_t{1} << 20;

    /** Takes all bytes so far. */
    std::string take_all();

    /**
     * Takes the bytes up to and including the first @p wanted, and returns those before it. Nothing when they have not
     * come yet: then nothing is taken, and @p more, which replaces the one given before, is called once when further
     * bytes come.
     */
    std::optional<std::string> take_through(std::string_view wanted, std::function<void()> more);

    /** The bytes so far; they stay. */
    std::string kept() const;

    /** Bytes that were lost since the start, and breaks that came. */
    std::uint64_t lost() const;
    std::uint64_t breaks() const;

    /** Where all that comes goes besides, in the same order; null: nowhere. */
    void pass_on_to(std::shared_ptr<far_end> listener);

    void received(std::string_view bytes) override;
    void received_break() override;
    void lines_changed(unsigned outputs) override;
    void opened() override;
    void closed() override;

private:
    std::shared_ptr<far_end> listener() const;

    mutable std::mutex mutex_;
    std::string bytes_;
    std::uint64_t lost_ = 0;
    std::uint64_t breaks_ = 0;
    std::function<void()> more_;
    std::shared_ptr<far_end> listener_;
};

/** A port with nothing but a recorder at its other end: what the kind "port" of a profile is. */
class recorded_port : public port {
public:
    recorded_port();

    const std::shared_ptr<recorder>& other_end() const { return other_end_; }

private:
    const std::shared_ptr<recorder> other_end_ = std::make_shared<recorder>();
};

/** The recorded port at a path; null when there is none, or a port that somebody serves (a modem). */
std::shared_ptr<recorded_port> recorded_port_at(const board& searched, std::string_view path);

} // namespace kt::terminal
