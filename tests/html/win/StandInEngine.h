#pragma once
// A stand-in for MSHTML's document class in the test process, behind MSHTML's own interfaces. It
// does not parse HTML: it serves, for the bytes a document is loaded with, the document that the
// portable engine computed from them (a corpus snapshot, tests/html/CorpusFormat.h). It keeps
// real reference counts, misbehaves on request, and records what the loaded mail would have made
// MSHTML run or fetch under the download control that the client site answered.
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Tessarix::Testing::StandIn {

// The calls a fault can hit, each on the items named by the fault's target.
enum class Call {
    NodeName,       // IHTMLDOMNode::nodeName of elements of that name
    NodeValue,      // IHTMLDOMNode::nodeValue of text nodes with that text
    CurrentStyle,   // IHTMLElement2::currentStyle of elements of that name
    StyleValue,     // the IHTMLCurrentStyle getter of that CSS property, on every element
    AttributeValue, // IHTMLDOMAttribute2::value of attributes of that name
    NamedItem,      // IHTMLAttributeCollection2::getNamedItem for that name
};
enum class Answer {
    Fails,       // E_FAIL
    OutOfMemory, // E_OUTOFMEMORY
    Null,        // success with a null BSTR or interface
    Empty,       // success with an empty BSTR
    NotAString,  // success with a value that is no string (a VARIANT holding an object)
};
struct Fault {
    Call call;
    std::u16string target;
    Answer answer;
};

enum class Completion {
    AtLoad,          // readyState is "complete" when Load returns
    ByPostedMessage, // "loading" until a message that Load posts is dispatched
    Never,           // "loading" for good
};

class Engine {
public:
    // Registers the stand-in as CLSID_HTMLDocument for this process; the apartment must exist.
    Engine();
    // Revokes it.
    ~Engine();
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    // Serves this snapshot to any document loaded with the bytes it was taken from.
    void Serve(const std::string& snapshot);
    void SetFaults(std::vector<Fault> faults);
    void SetCompletion(Completion completion);

    // Stand-in objects that still hold references (the class factory not counted).
    int LiveObjects() const;
    // Misuse seen: references released more often than taken, inputs it was not given.
    const std::vector<std::string>& Misuse() const;
    // The download control read from the last client site before Load, if any was read.
    std::optional<long> DownloadControl() const;
    // What the last loaded mail would have run or fetched: "run script ...", "fetch ...".
    const std::vector<std::string>& Activity() const;
    // References the last client site kept after the document let it go (0: it was released).
    std::optional<unsigned long> SiteReferencesAfterRelease() const;

    struct State;

private:
    std::unique_ptr<State> state_;
};

} // namespace Tessarix::Testing::StandIn
