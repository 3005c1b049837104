/** A value, or the errno that a program gets instead. */
#pragma once

#include <utility>
#include <variant>

namespace kt::terminal {

template <typename T>
class result {
public:
    result(T value) : content_(std::in_place_index<1>, std::move(value)) {}
    static result failed(int error) { return result(std::in_place_index<0>, error); }

    explicit operator bool() const { return content_.index() == 1; }
    int error() const { return content_.index() == 0 ? std::get<0>(content_) : 0; }
    T& operator*() { return std::get<1>(content_); }
    T* operator->() { return &std::get<1>(content_); }

private:
    result(std::in_place_index_t<0> index, int error) : content_(index, error) {}

    std::variant<int, T> content_;
};

} // namespace kt::terminal
