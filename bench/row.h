/// A row of the benchmarks: one operation, at one size, by one library.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace bench {

using Bytes = std::vector<unsigned char>;
using View = std::span<unsigned char const>;

/// One run of the operation. Returns whether the result is right, which every run checks.
using Operation = std::function<bool()>;

struct Row {
    std::string name;    ///< Operation and size, the same for every library: "sha256/16384".
    std::string library; ///< "sealkit", or a peer.
    size_t units = 1;    ///< The number of bytes or certificates of one run; 1 if the run itself is the unit.
    std::function<Operation()> prepare; ///< Makes inputs and objects, and returns the operation.
};

/// The sizes of messages: a short one, a packet, a record.
inline constexpr size_t messageSizes[] = {64, 1024, 16384};
inline constexpr size_t recordSize = 16384;

/// Collects the rows of one library.
class Rows {
public:
    Rows(std::vector<Row>& to, std::string name) : rows(to), library(std::move(name)) {}

    void add(std::string name, std::function<Operation()> prepare, size_t units = 1) {
        rows.push_back({std::move(name), library, units, std::move(prepare)});
    }

    /// A row for each size of messages. `prepare` takes the size.
    template <typename Prepare>
    void addSizes(std::string const& name, Prepare prepare) {
        for (size_t size : messageSizes)
            addSize(name, size, prepare);
    }

    template <typename Prepare>
    void addSize(std::string const& name, size_t size, Prepare prepare) {
        add(
            name + "/" + std::to_string(size), [=] { return Operation(prepare(size)); }, size);
    }

private:
    std::vector<Row>& rows;
    std::string library;
};

} // namespace bench
