#pragma once
// The failures that travel through a clip. Only the clip driver turns them into what the user sees.
//
// Other values travel as exceptions by convention:
//  - a failing HRESULT is thrown as a plain 32-bit signed integer (HResult, see ThrowIfFailed);
//  - a failure to lock memory is thrown as the wide text "Cannot lock stream memory";
//  - standard library failures stay standard exceptions.
#include <cstdint>
#include <string>

namespace Tessarix {

// HRESULTs as 32-bit signed integers on every platform.
using HResult = std::int32_t;

constexpr HResult HResultFrom(std::uint32_t value) {
    return static_cast<HResult>(value);
}

constexpr HResult kS_OK = 0;
constexpr HResult kS_FALSE = 1;
constexpr HResult kE_FAIL = HResultFrom(0x80004005u);
constexpr HResult kE_POINTER = HResultFrom(0x80004003u);
constexpr HResult kE_NOTIMPL = HResultFrom(0x80004001u);
constexpr HResult kE_OUTOFMEMORY = HResultFrom(0x8007000Eu);
constexpr HResult kE_INVALIDARG = HResultFrom(0x80070057u);
constexpr HResult kWC_E_XMLCHARACTER = HResultFrom(0xC00CEE2Bu);
constexpr HResult kMAPI_E_NOT_FOUND = HResultFrom(0x8004010Fu);

constexpr bool Failed(HResult hr) {
    return hr < 0;
}

// Throws a failing HRESULT as the plain integer; a success code passes.
inline void ThrowIfFailed(HResult hr) {
    if (Failed(hr))
        throw hr;
}

class BaseException {
public:
    explicit BaseException(std::u16string message) : message_(std::move(message)) {}
    virtual ~BaseException() = default;
    BaseException(const BaseException&) = default;
    BaseException& operator=(const BaseException&) = default;

    std::u16string GetMessage() const { return message_; }

private:
    std::u16string message_;
};

// Built from the hand-off result code; the message is the localized text chosen by the code.
class SendTxceException : public BaseException {
public:
    explicit SendTxceException(int resultCode);
    int ResultCode() const { return resultCode_; }

private:
    int resultCode_;
};

inline constexpr char16_t kNoteTooLargeMessage[] =
    u"Tessarix cannot create the note because it is too large. Please select a part of the content and "
    u"try clipping again.";

class NoteContentSizeExceededException : public BaseException {
public:
    NoteContentSizeExceededException() : BaseException(kNoteTooLargeMessage) {}
};

class AttachmentSizeLimitExceededException : public BaseException {
public:
    using BaseException::BaseException;
};

// Not derived from BaseException: the clip driver catches it first.
class CanNotCreateNoteException {
public:
    explicit CanNotCreateNoteException(std::u16string message) : message_(std::move(message)) {}
    virtual ~CanNotCreateNoteException() = default;
    CanNotCreateNoteException(const CanNotCreateNoteException&) = default;
    CanNotCreateNoteException& operator=(const CanNotCreateNoteException&) = default;
    std::u16string GetMessage() const { return message_; }

private:
    std::u16string message_;
};

namespace Clipper {
// The serializer's output passed its limit; caught inside the content pipeline.
class SerializerOutputLimitException {};
} // namespace Clipper

} // namespace Tessarix
