/// The reason why something failed.
#pragma once

#include "sealkit/refusal.h"

#include <optional>
#include <string>
#include <string_view>

/// A line for people and, if the library refused something, its refusal.
struct Complaint {
    std::string text;
    std::optional<Refusal> refusal;

    Complaint() = default;
    Complaint(std::string what) : text(std::move(what)) {}
    Complaint(char const* what) : text(what) {}
    Complaint(std::string what, Refusal const& why) : text(std::move(what)), refusal(why) {}
    Complaint(Refusal const& why) : text(why.str()), refusal(why) {}

    Complaint& operator+=(std::string_view behind) {
        text += behind;
        return *this;
    }
    bool empty() const { return text.empty(); }
    operator std::string const&() const { return text; }
};

/// Puts text before or after a complaint or the reason of a refusal.
inline Complaint operator+(std::string_view before, Complaint complaint) {
    complaint.text.insert(0, before);
    return complaint;
}
inline Complaint operator+(Complaint complaint, std::string_view behind) { return complaint += behind; }
