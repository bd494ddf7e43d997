#pragma once
// The one failure of the saved-item reader and writer: a file that is not a readable Outlook item,
// or one that cannot be written. A BaseException, so that the clip driver shows its message.
#include <string>
#include <string_view>

#include "core/Exceptions.h"

namespace Tessarix::Msg {

class MsgFileError : public BaseException {
public:
    // The message is "<file>: <what>".
    MsgFileError(std::u16string_view file, std::u16string_view what);
    const std::u16string& File() const { return file_; }
    // The message as UTF-8, for standard error and test output.
    std::string Utf8Message() const;

private:
    std::u16string file_;
};

} // namespace Tessarix::Msg
