#include "ClipActionTestSupport.h"

#include <gtest/gtest.h>

#ifdef _WIN32
#include <windows.h>

#include "core/win/LocalizedStringsWin.h"
#endif

#include "core/FileSystem.h"
#include "core/Log.h"
#include "tests/support/RawNote.h"

namespace Tessarix::Testing {

void PrepareEnglishTexts() {
#ifdef _WIN32
    static const bool loaded = [] {
        ::SetThreadUILanguage(MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US));
        return LoadSatelliteModule(::GetModuleHandleW(nullptr)) != nullptr;
    }();
    ASSERT_TRUE(loaded) << "Resource.dll is not beside the test program";
#endif
}

Notes::NoteList SampleNotes() {
    auto first = std::make_shared<Notes::CNote>();
    first->SetTitle(u"Quarterly report");
    first->SetContent(u"<div>Numbers <b>up</b> \u00e9t\u00e9</div>");
    first->GetMetadata().emplace_back(Notes::kMetaCreated, u"2011-03-07T13:05:09.042Z");
    first->GetMetadata().emplace_back(Notes::kMetaAuthor, u"Ann Smith");
    first->GetResources().emplace_back(u"file:///C:/Outlook/Attachments/a.txt", u"text/plain",
                                       StringUTF8::Copy("ABCD"), u"file:///C:/Outlook/Attachments/a.txt");
    auto second = std::make_shared<Notes::CNote>();
    second->SetTitle(u"Second");
    second->SetContent(u"<p>two</p>");
    second->GetMetadata().emplace_back(Notes::kMetaCreated, u"2011-03-08T08:00:00.000Z");
    return {first, second};
}

Notes::NotePtr NoteTheWriterRefuses() {
    auto note = std::make_shared<RawNote>(u"title", u"content\u0001");
    note->GetMetadata().emplace_back(Notes::kMetaCreated, u"2011-03-07T13:05:09.042Z");
    return note;
}

std::string ReadDump() {
    return ReadLogFile(Logger::Instance().Directory() + u"TXCEData.xml");
}

void RemoveDump() {
    Platform::DeleteFile(Logger::Instance().Directory() + u"TXCEData.xml");
}

} // namespace Tessarix::Testing
