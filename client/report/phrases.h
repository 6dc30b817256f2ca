#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace orrery::report {

/// Finds phrases of whole words in texts, in a time that grows with the text alone, however many
/// phrases there are and whatever they have in common.
///
/// A text is a row of words and of bytes between them, and a phrase is found where its row stands in
/// the text's: "desk" not in "desks", "7-b" not in "17-b". Scripts that write their words without
/// blanks between them have no words here, so a phrase is found anywhere in them.
class CPhrases {
public:
    /// Adds a phrase under a number of the caller's. Each can be added once.
    void Add(std::string_view phrase, std::uint32_t number);
    /// Has to be called after the last phrase and before the first search.
    void Prepare();

    struct Found {
        std::size_t start, size;  ///< in bytes
        std::uint32_t number;
    };
    /// The phrases in a text, from its start on: of those at one place the longest, and what belongs to
    /// one of them is not searched again.
    std::vector<Found> FindIn(std::string_view text) const;

private:
    using Token = std::uint32_t;
    using Node = std::uint32_t;

    struct Hash {
        using is_transparent = void;
        std::size_t operator()(std::string_view text) const noexcept
        {
            return std::hash<std::string_view>{}(text);
        }
    };
    /// A beginning that phrases have in common; the first of all is empty.
    struct NodeData {
        Node parent = 0;
        Token token = 0;
        std::uint32_t depth = 0;   // in words and bytes
        Node fallback = 0;         // the longest other beginning that this one ends with
        Node phrase = 0;           // the longest phrase that this one ends with; 0 for none
        std::uint32_t number = 0;  // of the phrase that this one is
    };

    Token KnownToken(std::string_view word) const;
    Node Child(Node node, Token token) const;
    Node Step(Node node, Token token) const;

    // Phrases are read backwards, as texts are: at each place it is then known what begins there.
    std::vector<NodeData> nodes_{NodeData{}};
    std::unordered_map<std::uint64_t, Node> children_;  // by node and token
    std::unordered_map<std::string, Token, Hash, std::equal_to<>> words_;
};

}  // namespace orrery::report
