#pragma once

#include <optional>
#include <string>
#include <system_error>
#include <type_traits>
#include <utility>
#include <variant>

// How an operation that can fail answers: its value, or a Failure with a code and a text.
// The program's own log lines and messages are written where a failure is met, from these.
namespace nvrprint {

struct Failure {
    // An errno value, or the number the failing library gives where it has its own.
    int code = 0;
    // What went wrong, in words fit for the log.
    std::string text;
};

// The failure of an errno value, its text the system's description of it.
inline Failure SystemFailure(int code) {
    return {code, std::generic_category().message(code)};
}

template <typename T>
class [[nodiscard]] Result {
public:
    // Implicit only where T itself converts implicitly: an owning pointer is never taken
    // from a raw one unasked.
    template <typename U = T>
    requires(
        std::is_constructible_v<T, U&&> && !std::is_same_v<std::remove_cvref_t<U>, Failure> &&
        !std::is_same_v<std::remove_cvref_t<U>, Result>) explicit(!std::is_convertible_v<U&&, T>)
        Result(U&& value)
        : m_state(std::in_place_index<0>, std::forward<U>(value)) {}
    Result(Failure failure) : m_state(std::in_place_index<1>, std::move(failure)) {}

    bool ok() const { return m_state.index() == 0; }
    explicit operator bool() const { return ok(); }

    T& value() & { return std::get<0>(m_state); }
    const T& value() const& { return std::get<0>(m_state); }
    T&& value() && { return std::get<0>(std::move(m_state)); }
    T& operator*() & { return value(); }
    const T& operator*() const& { return value(); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }

    const Failure& error() const { return std::get<1>(m_state); }

private:
    std::variant<T, Failure> m_state;
};

template <>
class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(Failure failure) : m_error(std::move(failure)) {}

    bool ok() const { return !m_error.has_value(); }
    explicit operator bool() const { return ok(); }
    const Failure& error() const { return *m_error; }

private:
    std::optional<Failure> m_error;
};

// The answer of an operation that gives nothing back but may fail.
using Status = Result<void>;

}  // namespace nvrprint
