/// Why something cannot be done.
#pragma once

#include "sealkit/refusal.h"

#include <optional>
#include <string>
#include <string_view>

/// A line for people, and what the library refused where that is the reason.
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

/// The complaint, or that of a refusal, with text around it.
inline Complaint operator+(std::string_view before, Complaint complaint) {
    complaint.text.insert(0, before);
    return complaint;
}
inline Complaint operator+(Complaint complaint, std::string_view behind) { return complaint += behind; }
