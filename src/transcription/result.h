#pragma once

#include <cassert>
#include <string>
#include <utility>
#include <variant>

namespace pellum {

// The outcome of a transcription: a text (possibly empty) or an error.
template <class Error>
class Result {
 public:
  static Result success(std::string text) { return Result(std::in_place_index<0>, std::move(text)); }
  static Result failure(Error error) { return Result(std::in_place_index<1>, std::move(error)); }

  bool ok() const { return value_.index() == 0; }
  const std::string& text() const {
    assert(ok());
    return std::get<0>(value_);
  }
  const Error& error() const {
    assert(!ok());
    return std::get<1>(value_);
  }

  bool operator==(const Result&) const = default;

 private:
  template <std::size_t I, class T>
  Result(std::in_place_index_t<I> index, T&& value) : value_(index, std::forward<T>(value)) {}

  std::variant<std::string, Error> value_;
};

}  // namespace pellum
