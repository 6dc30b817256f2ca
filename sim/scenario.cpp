#include "sim/scenario.h"

#include <algorithm>
#include <array>
#include <cwchar>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <regex>
#include <stdexcept>
#include <utility>

#include "client/machine/form_words.h"
#include "support/text.h"

namespace orrery::sim {
namespace {

namespace form = machine::form;

constexpr std::wstring_view kBlanks = L" \t\r";
constexpr auto kNone = std::wstring_view::npos;

// The types of registry values, which are no types of WMI.
constexpr auto kRegistryWords =
    std::to_array<std::string_view>({form::kRegSz, form::kRegExpandSz, form::kRegBinary,
                                     form::kRegDword, form::kRegMultiSz, form::kRegQword});

// What Windows itself tells, and whether a name follows the kind.
struct NativeKind {
    std::string_view word;
    bool hasName;
};
constexpr auto kNativeKinds = std::to_array<NativeKind>({
    {form::kSystemItem, false},
    {form::kVolumeItem, true},
    {form::kDisplayItem, false},
    {form::kAdapterItem, false},
    {form::kIPv6AdapterItem, false},
    {form::kWirelessInterfaceItem, false},
    {form::kWirelessNetworkItem, false},
    {form::kDriveItem, true},
    {form::kKeyItem, true},
});

std::wstring_view Trimmed(std::wstring_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    return text.substr(0, text.find_last_not_of(kBlanks) + 1);
}

bool Take(std::wstring_view* text, std::string_view start)
{
    if (!Equals(text->substr(0, start.size()), start))
        return false;
    text->remove_prefix(start.size());
    return true;
}

/// Takes a word of the form and the blank behind it.
bool TakeWord(std::wstring_view* text, std::string_view word)
{
    std::wstring_view rest = *text;
    if (!Take(&rest, word) || rest.empty() || kBlanks.find(rest[0]) == kNone)
        return false;
    *text = rest.substr(1);
    return true;
}

std::wstring Unescape(std::wstring_view text)
{
    std::wstring plain;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != L'\\' || at + 1 == text.size()) {
            plain += text[at];
        } else if (const wchar_t code = text[++at]; code == L'x') {
            const std::wstring digits{text.substr(at + 1, 4)};
            wchar_t* end = nullptr;
            plain += static_cast<wchar_t>(std::wcstoul(digits.c_str(), &end, 16));
            at += static_cast<std::size_t>(end - digits.c_str());
        } else {
            plain += code == L'n' ? L'\n' : code == L't' ? L'\t' : code;
        }
    }
    return plain;
}

/// Gives a value a type that its spelling does not tell.
bool Convert(std::wstring_view plain, VARTYPE type, VARIANT* value)
{
    constexpr LCID kEnglish = 0x409;  // for the decimal point
    VARIANT text{};
    const UniqueBstr content = MakeBstr(plain);
    text.vt = VT_BSTR;
    text.bstrVal = content.get();
    VariantClear(value);
    return SUCCEEDED(VariantChangeTypeEx(value, &text, kEnglish, 0, type));
}

/// Takes a quoted text, a word or a number from the start of a text.
/// @param type VT_EMPTY: as it is spelt
/// @param plain receives the value without quotes and escapes
/// @return false when there is no such value
bool TakeScalar(std::wstring_view* text, VARTYPE type, VARIANT* value, std::wstring* plain)
{
    if (text->starts_with(L'"')) {
        std::size_t end = 1;
        while (end < text->size() && (*text)[end] != L'"')
            end += (*text)[end] == L'\\' ? 2 : 1;
        if (end >= text->size())
            return false;
        *plain = Unescape(text->substr(1, end - 1));
        text->remove_prefix(end + 1);
        return Convert(*plain, type == VT_EMPTY ? VARTYPE{VT_BSTR} : type, value);
    }
    *plain = Trimmed(text->substr(0, text->find_first_of(L",}")));
    text->remove_prefix(plain->size());
    if (Equals(*plain, form::kEmpty) || Equals(*plain, form::kNull)) {
        value->vt = Equals(*plain, form::kNull) ? VT_NULL : VT_EMPTY;
        return true;
    }
    if (type != VT_EMPTY)
        return !plain->empty() && Convert(*plain, type, value);
    if (Equals(*plain, form::kTrue) || Equals(*plain, form::kFalse)) {
        value->vt = VT_BOOL;
        value->boolVal = Equals(*plain, form::kTrue) ? VARIANT_TRUE : VARIANT_FALSE;
        return true;
    }
    wchar_t* end = nullptr;
    const long long number = std::wcstoll(plain->c_str(), &end, 10);
    value->vt = VT_I4;
    value->lVal = static_cast<LONG>(number);  // unsigned numbers arrive in a VT_I4 too
    return !plain->empty() && *end == L'\0' && number >= INT32_MIN && number <= UINT32_MAX;
}

/// Takes "a, b}" into an array of the type of its first element; one without elements is of texts.
bool TakeList(std::wstring_view text, VARTYPE wanted, VARIANT* value)
{
    std::vector<UniqueVariant> elements(
        static_cast<std::size_t>(std::count(text.begin(), text.end(), L',')) + 1);
    std::size_t count = 0;
    std::wstring plain;
    for (text = Trimmed(text); text != L"}"; text = Trimmed(text)) {
        if ((count != 0 && !Take(&text, ",")) || count == elements.size())
            return false;
        text = Trimmed(text);
        if (!TakeScalar(&text, wanted, elements[count].put(), &plain) ||
            elements[count].type() != elements[0].type())
            return false;
        ++count;
    }
    const VARTYPE ofNone = wanted == VT_EMPTY ? VARTYPE{VT_BSTR} : wanted;
    const VARTYPE type = count == 0 ? ofNone : elements[0].type();
    if (type == VT_EMPTY || type == VT_NULL)
        return false;
    value->parray = SafeArrayCreateVector(type, 0, static_cast<ULONG>(count));
    value->vt = static_cast<VARTYPE>(VT_ARRAY | type);
    for (LONG at = 0; at < static_cast<LONG>(count); ++at) {
        VARIANT element = elements[static_cast<std::size_t>(at)].get();
        void* const from = type == VT_BSTR ? static_cast<void*>(element.bstrVal) : &element.lVal;
        if (FAILED(SafeArrayPutElement(value->parray, &at, from)))
            return false;
    }
    return true;
}

/// Takes the type word before a property's name, if there is one.
/// @param type stays as it is for a registry value's
/// @return false for an unknown word
bool TakeTypeWord(std::wstring_view* line, VARTYPE* type, std::string_view* word)
{
    const std::wstring_view left = Trimmed(line->substr(0, line->find(L'=')));
    const std::size_t blank = left.find_first_of(kBlanks);
    if (blank == kNone)
        return true;
    const std::wstring_view given = left.substr(0, blank);
    *line = Trimmed(line->substr(blank));
    for (const form::TypeWord& row : form::kTypeWords)
        if (Equals(given, row.word)) {
            *type = row.type;
            *word = row.word;
        }
    for (const std::string_view each : kRegistryWords)
        if (Equals(given, each))
            *word = each;
    return !word->empty();
}

std::optional<Property> ParseProperty(std::wstring_view line)
{
    Property property;
    VARTYPE type = VT_EMPTY;
    const std::size_t equals =
        TakeTypeWord(&line, &type, &property.typeWord) ? line.find(L'=') : kNone;
    if (equals == kNone || equals == 0 || !line.ends_with(L';'))
        return std::nullopt;
    property.name = Trimmed(line.substr(0, equals));
    std::wstring_view text = Trimmed(line.substr(equals + 1, line.size() - equals - 2));
    const auto value = std::make_shared<UniqueVariant>();
    const bool valid = Take(&text, "{")
                           ? TakeList(text, type, value->put())
                           : TakeScalar(&text, type, value->put(), &property.text) && text.empty();
    if (!valid)
        return std::nullopt;
    if (!value->isMissing() && !property.name.starts_with(L"__"))
        property.line = L"\t" + std::wstring{line} + L"\n";
    property.value = value;
    return property;
}

std::wstring NamespaceKey(std::wstring_view name)
{
    Take(&name, "\\\\.\\");
    return ToLower(std::wstring{name});
}

/// Reads the lines of a scenario one after the other.
class Reader {
public:
    Reader(std::wstring_view text, ScenarioContent* content) : text_(text), content_(content) {}

    void ReadAll()
    {
        while (NextLine())
            ReadItem();
    }

private:
    bool NextLine()
    {
        while (!text_.empty()) {
            const std::size_t end = std::min(text_.find(L'\n'), text_.size());
            line_ = text_.substr(0, end);
            text_.remove_prefix(std::min(end + 1, text_.size()));
            ++number_;
            line_.remove_prefix(std::min(line_.find_first_not_of(kBlanks), line_.size()));
            if (!line_.empty() && !line_.starts_with(L'#'))
                return true;
        }
        return false;
    }

    void Expect(bool condition, const char* what) const
    {
        if (!condition)
            FailLine(number_, what);
    }

    void ReadItem()
    {
        if (TakeWord(&line_, form::kNamespace)) {
            namespace_ = &content_->namespaces[NamespaceKey(Trimmed(line_))];
            StartRows(nullptr, nullptr);
            return;
        }
        if (ReadNativeItem())
            return;
        Expect(namespace_ != nullptr, "a namespace first");
        if (TakeWord(&line_, form::kClass)) {
            namespace_->classes[ToLower(std::wstring{Trimmed(line_)})];
            StartRows(nullptr, nullptr);
        } else if (TakeWord(&line_, form::kQuery)) {
            // only the line's end goes: blanks before it are part of the query
            const std::wstring_view query = line_.substr(0, line_.find(L'\r'));
            StartRows(&namespace_->queries[std::wstring{query}], nullptr);
        } else if (TakeWord(&line_, form::kMethod)) {
            ReadMethod();
        } else if (TakeWord(&line_, form::kAfter)) {
            wchar_t* end = nullptr;
            const std::wstring number{Trimmed(line_)};
            delay_ = std::chrono::milliseconds{std::wcstol(number.c_str(), &end, 10)};
            Expect(end != number.c_str() && Equals(Trimmed(end), form::kMilliseconds),
                   "\"after NUMBER ms\"");
        } else {
            ReadInstance();
        }
    }

    /// @return false when the line begins something else
    bool ReadNativeItem()
    {
        if (Equals(Trimmed(line_), form::kNoWmi)) {
            content_->hasWmi = false;
            return true;
        }
        for (const NativeKind& kind : kNativeKinds) {
            std::wstring_view name = line_;
            if (!Take(&name, kind.word) || (!name.empty() && kBlanks.find(name[0]) == kNone))
                continue;
            NativeItem item{kind.word, std::wstring{Trimmed(name)}, number_, {}};
            Expect(item.name.empty() != kind.hasName,
                   "a kind of item, with its name if it has one");
            Expect(NextLine() && Equals(Trimmed(line_), form::kOpen), "\"{\"");
            ReadProperties(&item.properties);
            content_->nativeItems.push_back(std::move(item));
            StartRows(nullptr, nullptr);
            return true;
        }
        return false;
    }

    void StartRows(Rows* rows, Method* method)
    {
        rows_ = rows;
        method_ = method;
    }

    void ReadMethod()
    {
        const std::wstring_view text = Trimmed(line_);
        const std::wstring of{form::kOf.begin(), form::kOf.end()};
        const std::wstring input{form::kTakesInput.begin(), form::kTakesInput.end()};
        const std::size_t at = text.find(of);
        Expect(at != kNone, "\"method NAME of PATH\"");
        Method method{std::wstring{text.substr(0, at)}, {}, text.ends_with(input), {}};
        const std::wstring_view path = text.substr(at + of.size());
        method.objectPath = Trimmed(method.takesInput ? path.substr(0, path.rfind(input)) : path);
        namespace_->methods.push_back(std::move(method));
        StartRows(nullptr, &namespace_->methods.back());
    }

    void ReadInstance()
    {
        Instance instance;
        instance.delay = std::exchange(delay_, std::chrono::milliseconds{0});
        instance.isEmptySlot = TakeWord(&line_, form::kEmptySlot);
        instance.hasText = !TakeWord(&line_, form::kUnreadable);
        Expect(instance.isEmptySlot || TakeWord(&line_, form::kInstance),
               "a directive or an instance");
        const bool opened = !instance.isEmptySlot && Trimmed(line_).ends_with(L'{');
        instance.className = Trimmed(line_.substr(0, opened ? line_.rfind(L'{') : line_.size()));
        if (!instance.isEmptySlot) {
            Expect(opened || (NextLine() && Equals(Trimmed(line_), form::kOpen)), "\"{\"");
            ReadProperties(&instance.properties);
        }
        Store(std::make_shared<const Instance>(std::move(instance)));
    }

    void ReadProperties(std::vector<Property>* properties)
    {
        for (;;) {
            Expect(NextLine(), "\"};\"");
            std::wstring_view line = Trimmed(line_);
            if (Equals(line, form::kClose))
                return;
            if (TakeWord(&line, form::kObjectText) || Equals(line, form::kObjectText)) {
                Expect(!properties->empty(), "a property before its line of the object text");
                properties->back().line =
                    Equals(line, form::kObjectText) ? L"" : L"\t" + std::wstring{line} + L"\n";
                continue;
            }
            auto property = ParseProperty(line);
            Expect(property.has_value(), "\"Name = value;\" or \"};\"");
            property->number = number_;
            properties->push_back(*std::move(property));
        }
    }

    void Store(Row row)
    {
        if (method_ != nullptr) {
            Expect(!method_->output, "no second instance for a method");
            method_->output = std::move(row);
            return;
        }
        Rows& rows = rows_ != nullptr ? *rows_ : namespace_->classes[ToLower(row->className)];
        rows.push_back(std::move(row));
    }

    std::wstring_view text_, line_;
    int number_ = 0;
    ScenarioContent* content_;
    Namespace* namespace_ = nullptr;
    Rows* rows_ = nullptr;  // null: an instance belongs to its class
    Method* method_ = nullptr;
    std::chrono::milliseconds delay_{0};
};

/// A copy of an instance with the selected columns; system properties are in every selection.
Row Select(const Instance& whole, std::wstring columns)
{
    auto part = std::make_shared<Instance>(whole);
    std::erase(columns, L' ');
    const std::wstring list = ToLower(L"," + columns + L",");
    std::erase_if(part->properties, [&](const Property& property) {
        return list != L",*," && !property.name.starts_with(L"__") &&
               list.find(ToLower(L"," + property.name + L",")) == std::wstring::npos;
    });
    return part;
}

}  // namespace

const Property* Instance::Find(std::wstring_view name) const
{
    const auto found =
        std::find_if(properties.begin(), properties.end(),
                     [&](const Property& each) { return EqualsIgnoringCase(each.name, name); });
    return found == properties.end() ? nullptr : &*found;
}

std::wstring Instance::Text() const
{
    std::wstring text = L"\ninstance of " + className + L"\n{\n";
    for (const Property& property : properties)
        text += property.line;
    return text + L"};\n";
}

const Rows* Namespace::FindClass(std::wstring_view name) const
{
    const auto found = classes.find(ToLower(std::wstring{name}));
    return found == classes.end() ? nullptr : &found->second;
}

HRESULT Namespace::Query(std::wstring_view query, Rows* rows) const
{
    static const std::wregex selection{
        LR"(\s*select\s+(.+?)\s+from\s+(\w+)(?:\s+where\s+(\w+)\s*=\s*'(.*)')?\s*)",
        std::regex::icase};
    const std::wstring text{query};
    if (const auto exact = queries.find(text); exact != queries.end()) {
        *rows = exact->second;
        return S_OK;
    }
    std::wsmatch parts;
    if (!std::regex_match(text, parts, selection))
        return kWmiInvalidQuery;
    const Rows* const all = FindClass(parts[2].str());
    if (all == nullptr)
        return kWmiInvalidClass;
    const std::wstring wanted = Unescape(parts[4].str());
    for (const Row& row : *all) {
        const Property* const property = row->Find(parts[3].str());
        if (!parts[3].matched || (property && EqualsIgnoringCase(property->text, wanted)))
            rows->push_back(Select(*row, parts[1].str()));
    }
    return S_OK;
}

Scenario::Scenario(std::wstring_view text)
{
    Reader{text, &content_}.ReadAll();
}

const Namespace* Scenario::Find(std::wstring_view name) const
{
    const auto found = content_.namespaces.find(NamespaceKey(name));
    return found == content_.namespaces.end() ? nullptr : &found->second;
}

bool Equals(std::wstring_view text, std::string_view word)
{
    return std::equal(text.begin(), text.end(), word.begin(), word.end(),
                      [](wchar_t left, char right) { return left == static_cast<wchar_t>(right); });
}

void FailLine(int number, const std::string& expected)
{
    throw ScenarioError("line " + std::to_string(number) + ": expected " + expected);
}

std::wstring LoadScenario(const wchar_t* path)
{
    std::ifstream file{std::filesystem::path{path}, std::ios::binary};
    if (!file)
        throw ScenarioError('"' + std::filesystem::path{path}.string() + "\" cannot be read: " +
                            (std::filesystem::exists(path) ? "it is a folder or may not be opened"
                                                           : "there is no such file"));
    const std::string bytes{std::istreambuf_iterator<char>{file}, {}};
    const int size = static_cast<int>(bytes.size());
    std::wstring text(bytes.size(), L'\0');
    text.resize(static_cast<std::size_t>(
        MultiByteToWideChar(CP_UTF8, 0, bytes.data(), size, text.data(), size)));
    if (text.starts_with(L'\xFEFF'))
        text.erase(0, 1);
    return text;
}

}  // namespace orrery::sim
