// Writes JSON as the program's lines and documents need it: compact, members in a known order,
// absent optionals left out, numbers with the shortest digits that read back as the same value.
// Why not the JSON library: it writes 1920.0 for 1920, knows no 32-bit floats, does not escape the
// solidus and fails on text that is not valid UTF-8. Reading is the library's.
//
// A record takes part by a function beside it: void encode(const Record&, JsonObject&).
// Threads: values, any. Errors: a number that is not finite throws JsonEncodingError.
#pragma once

#include <concepts>
#include <cstdint>
#include <exception>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quorvane::support {

class JsonEncodingError : public std::exception {
  public:
    const char* what() const noexcept override { return "Could not encode JSON."; }
};

// declared: as the members were added. sorted: ascending by name.
enum class JsonOrder { declared, sorted };

class JsonObject;

template <class Record>
concept JsonRecord = requires(const Record& record, JsonObject& object) {
    encode(record, object);
};

class JsonObject {
  public:
    explicit JsonObject(JsonOrder order) : order_(order) {}

    template <class T>
    void member(std::string_view name, const T& value);
    template <class T>
    void member(std::string_view name, const std::optional<T>& value) {
        if (value) member(name, *value);
    }

    JsonOrder order() const { return order_; }
    std::string text() &&;

  private:
    JsonOrder order_;
    std::vector<std::pair<std::string, std::string>> members_;  // name, encoded value
};

// A 64-bit number in its shortest form: whole values without a fraction, and without an exponent
// between 1e-5 and 1e17.
std::string jsonNumber(double value);
// The same by the digits of a 32-bit value (0.35f is 0.35).
std::string jsonNumber(float value);
// Quoted; '"', '\' and '/' behind a '\', control characters escaped, invalid UTF-8 replaced.
std::string jsonString(std::string_view text);

template <class T>
std::string jsonText(const T& value, JsonOrder order) {
    if constexpr (std::same_as<T, bool>) {
        return value ? "true" : "false";
    } else if constexpr (std::integral<T>) {
        return std::to_string(value);
    } else if constexpr (std::floating_point<T>) {
        return jsonNumber(value);
    } else if constexpr (std::convertible_to<const T&, std::string_view>) {
        return jsonString(value);
    } else if constexpr (JsonRecord<T>) {
        JsonObject object(order);
        encode(value, object);
        return std::move(object).text();
    } else {
        std::string text = "[";
        for (const auto& element : value) {
            if (text.size() > 1) text += ',';
            text += jsonText(element, order);
        }
        return text + "]";
    }
}

template <class T>
void JsonObject::member(std::string_view name, const T& value) {
    members_.emplace_back(name, jsonText(value, order_));
}

}  // namespace quorvane::support
