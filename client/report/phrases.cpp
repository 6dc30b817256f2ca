#include "client/report/phrases.h"

#include <algorithm>
#include <numeric>

namespace orrery::report {
namespace {

constexpr std::uint32_t kUnknown = 0, kFirstByte = 1, kFirstWord = kFirstByte + 256;

/// Whether the character that begins with the byte is part of a word.
bool IsOfWord(char byte)
{
    const auto lead = static_cast<unsigned char>(byte);
    return lead == '_' || (lead >= 0xC2 && lead <= 0xDF) || (lead >= '0' && lead <= '9') ||
           (lead >= 'A' && lead <= 'Z') || (lead >= 'a' && lead <= 'z');
}

/// Where the words of a text and the bytes between them begin, and where the text ends.
std::vector<std::size_t> Split(std::string_view text)
{
    std::vector<std::size_t> starts;
    bool wasOfWord = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const bool isInside = (text[at] & 0xC0) == 0x80 && at != 0;
        const bool isOfWord = isInside ? wasOfWord : IsOfWord(text[at]);
        if (!isOfWord || !wasOfWord)
            starts.push_back(at);
        wasOfWord = isOfWord;
    }
    starts.push_back(text.size());
    return starts;
}

std::uint64_t Key(std::uint32_t node, std::uint32_t token)
{
    return std::uint64_t{node} << 32 | token;
}

}  // namespace

CPhrases::Token CPhrases::KnownToken(std::string_view word) const
{
    if (!IsOfWord(word.front()))
        return kFirstByte + static_cast<unsigned char>(word.front());
    const auto known = words_.find(word);
    return known != words_.end() ? known->second : kUnknown;
}

void CPhrases::Add(std::string_view phrase, std::uint32_t number)
{
    const std::vector<std::size_t> starts = Split(phrase);
    Node node = 0;
    for (std::size_t at = starts.size() - 1; at > 0; --at) {
        const std::string_view word = phrase.substr(starts[at - 1], starts[at] - starts[at - 1]);
        Token token = KnownToken(word);
        if (token == kUnknown) {
            token = kFirstWord + static_cast<Token>(words_.size());
            words_.emplace(word, token);
        }
        const auto next = static_cast<Node>(nodes_.size());
        const auto [child, isNew] = children_.try_emplace(Key(node, token), next);
        if (isNew)
            nodes_.push_back({node, token, nodes_[node].depth + 1});
        node = child->second;
    }
    nodes_[node].phrase = node;
    nodes_[node].number = number;
}

CPhrases::Node CPhrases::Child(Node node, Token token) const
{
    const auto child = children_.find(Key(node, token));
    return child != children_.end() ? child->second : 0;
}

/// The longest beginning after one more token.
CPhrases::Node CPhrases::Step(Node node, Token token) const
{
    for (;; node = nodes_[node].fallback) {
        const Node child = Child(node, token);
        if (child != 0 || node == 0)
            return child;
    }
}

void CPhrases::Prepare()
{
    // The fallback of a node is less deep, so it has to be known first.
    std::vector<Node> byDepth(nodes_.size());
    std::iota(byDepth.begin(), byDepth.end(), Node{0});
    std::stable_sort(byDepth.begin(), byDepth.end(),
                     [this](Node a, Node b) { return nodes_[a].depth < nodes_[b].depth; });
    for (const Node at : byDepth) {
        NodeData& node = nodes_[at];
        if (node.depth > 1)
            node.fallback = Step(nodes_[node.parent].fallback, node.token);
        if (node.phrase == 0)
            node.phrase = nodes_[node.fallback].phrase;
    }
}

std::vector<CPhrases::Found> CPhrases::FindIn(std::string_view text) const
{
    std::vector<Found> found;
    if (nodes_.size() == 1 || text.empty())
        return found;
    const std::vector<std::size_t> starts = Split(text);
    std::vector<Node> phrases(starts.size(), 0);  // by where they begin
    Node node = 0;
    for (std::size_t at = starts.size() - 1; at-- > 0;) {
        const Token token = KnownToken(text.substr(starts[at], starts[at + 1] - starts[at]));
        node = token == kUnknown ? 0 : Step(node, token);
        phrases[at] = nodes_[node].phrase;
    }
    for (std::size_t at = 0; at < starts.size();) {
        const NodeData& phrase = nodes_[phrases[at]];
        if (phrase.depth != 0)
            found.push_back({starts[at], starts[at + phrase.depth] - starts[at], phrase.number});
        at += std::max<std::size_t>(phrase.depth, 1);
    }
    return found;
}

}  // namespace orrery::report
