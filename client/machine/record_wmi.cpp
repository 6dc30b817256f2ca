#include <windows.h>
#include <wbemcli.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <map>
#include <set>

#include "client/system/console.h"
#include "client/machine/arrivals.h"
#include "client/machine/ask_within.h"
#include "client/machine/questions.h"
#include "client/machine/form_words.h"
#include "client/machine/record.h"
#include "support/text.h"
#include "wmi/session.h"

namespace orrery::machine {
namespace {

using doctor::Asking;

// A provider that delivers, but slowly, keeps what came in the first time; one that does not even
// take the question is given up after the second.
constexpr std::chrono::seconds kRowsLimit{30};
constexpr std::chrono::seconds kHangLimit{60};

/// The texts of one object by property, for the questions that are about it.
using Texts = std::map<std::wstring, std::wstring>;

/// What became of one question.
struct Answer {
    bool isConnected = false;
    bool isAnswered = false;
    std::vector<Item> items{};
    std::vector<Texts> objects{};
    std::vector<std::string> problems{};
};

/// Whether the spelling of a value tells its type.
bool IsTold(VARTYPE type)
{
    return type == VT_BSTR || type == VT_I4 || type == VT_BOOL;
}

/// A single value without quotes; nothing when it has no text.
std::optional<std::string> PlainText(const VARIANT& value)
{
    constexpr LCID kEnglish = 0x409;  // for the decimal point
    if (value.vt == VT_BOOL)
        return std::string{value.boolVal != VARIANT_FALSE ? form::kTrue : form::kFalse};
    VARIANT source = value;  // borrows the content
    UniqueVariant text;
    if (FAILED(VariantChangeTypeEx(text.put(), &source, kEnglish, 0, VT_BSTR)))
        return std::nullopt;
    return ToUtf8(TextOf(text.get().bstrVal));
}

bool AddElements(SAFEARRAY* list, VARTYPE type, Value* value)
{
    LONG first = 0, last = -1;
    if (SafeArrayGetDim(list) != 1 || FAILED(SafeArrayGetLBound(list, 1, &first)) ||
        FAILED(SafeArrayGetUBound(list, 1, &last)))
        return false;
    for (LONG at = first; at <= last; ++at) {
        UniqueVariant element;
        VARIANT* const place = element.put();
        place->llVal = 0;  // an element may fill less than its type
        if (FAILED(SafeArrayGetElement(list, &at, &place->lVal)))
            return false;
        place->vt = type;
        const auto text = PlainText(*place);
        if (!text)
            return false;
        value->parts.push_back(*text);
    }
    return true;
}

/// @return nothing for a type that the form does not have
std::optional<Value> ValueOf(const std::wstring& name, const VARIANT& content)
{
    Value value{.name = ToUtf8(name)};
    const auto type = static_cast<VARTYPE>(content.vt & ~VT_ARRAY);
    if (type == VT_EMPTY || type == VT_NULL)
        return NamedWord(value.name, type == VT_NULL ? form::kNull : form::kEmpty);
    const auto row = std::find_if(form::kTypeWords.begin(), form::kTypeWords.end(),
                                  [&](const form::TypeWord& each) { return each.type == type; });
    if (row == form::kTypeWords.end())
        return std::nullopt;
    value.typeWord = IsTold(type) ? "" : row->word;
    value.spelling = type == VT_BSTR ? Value::Spelling::kQuoted : Value::Spelling::kBare;
    value.isList = (content.vt & VT_ARRAY) != 0;
    if (value.isList) {
        if (!AddElements(content.parray, type, &value))
            return std::nullopt;
        // one without elements is taken for texts
        if (value.parts.empty() && type != VT_BSTR && value.typeWord.empty())
            value.typeWord = row->word;
        return value;
    }
    const auto text = PlainText(content);
    if (!text)
        return std::nullopt;
    value.parts = {*text};
    return value;
}

/// A property's line of an object text, without the tab before it; empty when there is none.
std::string LineOf(std::wstring_view objectText, const std::wstring& name)
{
    const std::wstring start = std::wstring{L"\t"}.append(name).append(L" = ");
    const std::size_t at = objectText.find(start);
    if (at == std::wstring_view::npos)
        return {};
    const auto line = objectText.substr(at + 1);
    return ToUtf8(line.substr(0, line.find(L'\n')));
}

bool HasControls(std::string_view line)
{
    return std::any_of(line.begin(), line.end(),
                       [](char each) { return static_cast<unsigned char>(each) < 0x20; });
}

/// Keeps the line of the object text where it is not the value as it is spelled.
void CompareWithText(std::wstring_view objectText, const std::wstring& name, const VARIANT& content,
                     Value* value, std::vector<std::string>* problems)
{
    const bool isMissing = content.vt == VT_NULL || content.vt == VT_EMPTY;
    const bool isSystem = value->name.starts_with("__");
    const std::string line = LineOf(objectText, name);
    if (line == (isMissing || isSystem ? std::string{} : SpelledLine(*value)))
        return;
    // A number without a sign comes as one with it.
    if (content.vt == VT_I4 && content.lVal < 0) {
        Value wide = *value;
        wide.parts = {std::to_string(static_cast<std::uint32_t>(content.lVal))};
        if (SpelledLine(wide) == line) {
            *value = wide;
            return;
        }
    }
    if (HasControls(line))
        problems->push_back("the object text of " + value->name + ", which has control characters");
    else
        value->objectLine = line;
}

/// What is asked of one object, by value, for a thread of its own.
struct Row {
    std::string className;
    std::vector<std::wstring> properties;
    bool hasText;  ///< whether the library reads the object text
};

void AddObject(IWbemClassObject* object, const Row& row, Answer* answer)
{
    const auto text = row.hasText ? ObjectText(object) : std::optional<WideString>{};
    Item item{.heading = form::Heading(form::kInstance, row.className)};
    if (row.hasText && !text)
        item.heading = form::Heading(form::kUnreadable, item.heading);
    Texts texts;
    for (const std::wstring& name : row.properties) {
        UniqueVariant content;
        if (FAILED(object->Get(name.c_str(), 0, content.put(), nullptr, nullptr)))
            continue;  // the class has no such property
        auto value = ValueOf(name, content.get());
        if (!value) {
            answer->problems.push_back(row.className + '.' + ToUtf8(name) + ", of type " +
                                       std::to_string(content.type()));
            continue;
        }
        if (content.type() == VT_BSTR)
            texts[name] = TextOf(content.get().bstrVal);
        if (text)
            CompareWithText(text->view(), name, content.get(), &*value, &answer->problems);
        item.values.push_back(*std::move(value));
    }
    answer->items.push_back(std::move(item));
    answer->objects.push_back(std::move(texts));
}

/// Takes the rows, and notes those that come so late that a batch goes without them.
void AddRows(IEnumWbemClassObject* rows, const Row& row, std::uint32_t maxRows, Answer* answer)
{
    const HRESULT result = ForEachArrival(rows, maxRows, kRowsLimit, [&](const Arrival& arrival) {
        if (row.hasText && arrival.isLate)
            answer->items.push_back(
                {.heading =
                     form::Heading(form::kAfter, std::to_string(arrival.milliseconds) + ' ') +
                     std::string{form::kMilliseconds},
                 .hasBody = false});
        if (arrival.instance != nullptr)
            AddObject(arrival.instance, row, answer);
        else
            answer->items.push_back(
                {.heading = form::Heading(form::kEmptySlot, row.className), .hasBody = false});
    });
    if (result == static_cast<HRESULT>(WBEM_S_TIMEDOUT))
        answer->problems.push_back("what " + row.className + " has after " +
                                   std::to_string(kRowsLimit.count()) + " s");
}

/// Puts a question, in the thread that is made for it.
/// @param text of the query, or the path of the method's object
Answer Ask(const WmiQuestion& question, const std::wstring& text, const Row& row)
{
    Answer answer;
    const auto services = OpenNamespace(WmiNamespaces()[question.wmiNamespace]);
    answer.isConnected = static_cast<bool>(services);
    if (!services)
        return answer;
    if (question.asking == Asking::kMethod) {
        // As the library calls it, for what a method answers may depend on its input.
        const auto input = MakeMethodInput(services.get(), question.className, question.text);
        if (FAILED(input.result))
            return answer;
        const auto output = RunMethod(services.get(), question.text, text, input.get());
        answer.isAnswered = static_cast<bool>(output);
        if (output)
            AddObject(output.get(), row, &answer);
        return answer;
    }
    const bool isClass = question.asking == Asking::kClass;
    const auto rows = isClass ? StartEnumeration(services.get(), question.className)
                              : StartQuery(services.get(), text);
    answer.isAnswered = static_cast<bool>(rows);
    if (rows)
        AddRows(rows.get(), row, isClass ? question.maxInstances : UINT32_MAX, &answer);
    return answer;
}

/// Puts all questions and keeps the order of the answers.
class CWmiRecorder {
public:
    explicit CWmiRecorder(Record* record) : record_(record) {}

    void RecordAll()
    {
        for (const WmiQuestion& question : WmiQuestions()) {
            if (question.about == kNothing)
                RecordClass(question);
            else if (question.about == kVolumes)
                RecordVolumes(question);
            else
                RecordEach(question);
        }
    }

private:
    /// The properties that any question reads of the objects of a class.
    static std::vector<std::wstring> PropertiesOf(const WmiQuestion& asked)
    {
        std::vector<std::wstring> properties;
        const auto add = [&](const std::wstring& name) {
            if (!name.empty() &&
                std::find(properties.begin(), properties.end(), name) == properties.end())
                properties.push_back(name);
        };
        const bool isMethod = asked.asking == Asking::kMethod;
        for (const WmiQuestion& question : WmiQuestions()) {
            const bool isSame = std::wstring_view{question.className} == asked.className;
            if (isSame && (question.asking == Asking::kMethod) == isMethod)
                for (const doctor::Feed& feed : question.feeds)
                    for (const doctor::FedKey& key : feed.keys)
                        add(FromUtf8(key.reads));
            if (!isMethod && question.identity != nullptr &&
                std::wstring_view{WmiQuestions()[question.about].className} == asked.className)
                add(question.identity);
        }
        return properties;
    }

    Row RowOf(const WmiQuestion& question) const
    {
        Row row{ToUtf8(question.className), PropertiesOf(question), false};
        row.hasText = question.asking == Asking::kClass;
        if (question.asking == Asking::kMethod)
            row.className = "__PARAMETERS";
        return row;
    }

    /// @return nothing when it was not answered, which is a problem of the record then
    std::optional<Answer> Put(const WmiQuestion& question, const std::wstring& text, const Row& row)
    {
        // Without the object, whose path may name the computer.
        const std::string about =
            ToUtf8(question.className) +
            (question.asking == Asking::kMethod ? '.' + ToUtf8(question.text) : "");
        if (refused_.contains(question.wmiNamespace))
            return std::nullopt;
        auto answer =
            AskWithin(kHangLimit, [&question, text, row] { return Ask(question, text, row); });
        if (!answer) {
            record_->problems.push_back(about + ", which does not answer");
            return std::nullopt;
        }
        for (std::string& problem : answer->problems)
            record_->problems.push_back(std::move(problem));
        const std::string place = ToUtf8(WmiNamespaces()[question.wmiNamespace].path);
        if (!answer->isConnected) {
            refused_.insert(question.wmiNamespace);
            record_->problems.push_back("the namespace " + place + ", which cannot be opened");
            return std::nullopt;
        }
        EnterNamespace(question.wmiNamespace);
        if (!answer->isAnswered) {
            record_->problems.push_back(about + ", which is refused");
            return std::nullopt;
        }
        return answer;
    }

    void EnterNamespace(std::size_t wmiNamespace)
    {
        const std::wstring_view path = WmiNamespaces()[wmiNamespace].path;
        if (EqualsIgnoringCase(path, namespace_))
            return;
        namespace_ = path;
        Add({.heading = form::Heading(form::kNamespace, ToUtf8(path)), .hasBody = false});
    }

    void Add(Item item) { record_->items.push_back(std::move(item)); }

    void Take(const std::wstring& className, Answer answer)
    {
        for (Item& item : answer.items)
            Add(std::move(item));
        for (Texts& texts : answer.objects)
            objects_[className].push_back(std::move(texts));
    }

    /// A class is recorded once, however often it is asked for.
    void RecordClass(const WmiQuestion& question)
    {
        if (objects_.contains(question.className))
            return;
        auto answer = Put(question, *QuestionText(question, {}), RowOf(question));
        if (!answer)
            return;
        Add({.heading = form::Heading(form::kClass, ToUtf8(question.className)), .hasBody = false});
        objects_[question.className];
        Take(question.className, *std::move(answer));
    }

    /// The objects of a class that are asked for volume by volume.
    void RecordVolumes(const WmiQuestion& question)
    {
        for (const std::wstring& volume : ListedVolumes()) {
            Row row = RowOf(question);
            row.properties.push_back(L"DriveLetter");  // by which the query finds it
            auto answer = Put(question, *QuestionText(question, volume), row);
            if (!answer)
                continue;
            if (!objects_.contains(question.className))
                Add({.heading = form::Heading(form::kClass, ToUtf8(question.className)),
                     .hasBody = false});
            objects_[question.className];
            Take(question.className, *std::move(answer));
        }
    }

    /// A question about each object of another one.
    void RecordEach(const WmiQuestion& question)
    {
        const auto objects = objects_[WmiQuestions()[question.about].className];
        for (const Texts& object : objects) {
            const auto id = object.find(question.identity);
            const auto text =
                id != object.end() ? QuestionText(question, id->second) : std::nullopt;
            if (!text)
                continue;
            const bool isMethod = question.asking == Asking::kMethod;
            auto answer = Put(question, *text, RowOf(question));
            if (!answer)
                continue;
            Add({.heading = isMethod ? form::Heading(form::kMethod, ToUtf8(question.text))
                                           .append(form::kOf)
                                           .append(ToUtf8(*text))
                                     : form::Heading(form::kQuery, ToUtf8(*text)),
                 .hasBody = false});
            Take(isMethod ? L"" : question.className, *std::move(answer));
        }
    }

    Record* record_;
    std::wstring namespace_;
    std::set<std::size_t> refused_;                       // namespaces
    std::map<std::wstring, std::vector<Texts>> objects_;  // by class
};

bool HasLocator()
{
    ComPtr<IWbemLocator> locator;
    return SUCCEEDED(CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER,
                                      IID_IWbemLocator, locator.putVoid()));
}

}  // namespace

void RecordWmi(Record* record)
{
    if (AskWithin(kHangLimit, HasLocator).value_or(false)) {
        CWmiRecorder{record}.RecordAll();
        return;
    }
    record->items.push_back({.heading = std::string{form::kNoWmi}, .hasBody = false});
    record->problems.push_back("WMI, which is not there");
}

}  // namespace orrery::machine
