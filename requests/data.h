#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/win32.h"

namespace zrtmon {

/// One query or command: the bytes to send, how they are sent, how the reply is read and how it becomes the
/// caller's answer.
///
/// The answer is 8-bit text, by convention fields separated by ";", each "name=value". Replies arrive as
/// positional values separated by "," or ";"; the base class names them, and a subclass supplies the marker
/// that opens its reply and the names.
///
/// A request may consist of several exchanges by chaining further requests through SetNext; the caller's
/// answer is then the concatenation of all their texts.
///
/// Has no lock: all calls come from one port's device link, which serialises them. No operation here sets
/// the last error. GetCommand and the steps of a reply may throw std::bad_alloc; Prepare does not.
class CData {
public:
    CData() = default;
    virtual ~CData() = default;
    CData(const CData&) = delete;
    CData& operator=(const CData&) = delete;

    /// The answer; never null. Borrowed until the text changes.
    virtual const char* GetText() { return m_text.c_str(); }

    /// The command bytes and their count. Null or a count of 0: nothing is sent. Borrowed until the next
    /// call on the object.
    virtual const uint8_t* GetCommand(uint32_t* length) = 0;

    /// Called with the caller's request text (the value name, then "/" and parameters) before each use.
    /// FALSE rejects the request before anything is sent: parameters are missing or invalid, or memory is
    /// exhausted.
    virtual BOOL Prepare(const wchar_t* requestText);

    /// Milliseconds between a successful send and reading the reply.
    virtual uint32_t GetSendDelay() { return kDefaultSendDelayMs; }

    virtual void ClearText() { m_text.clear(); }

    /// How the command is sent: one of SendMethod. Other values fail the exchange.
    virtual uint32_t GetSendMethod() { return kSendToPort; }

    /// Called after every send attempt with the number of bytes sent.
    virtual void SetSentLength(uint32_t count) { m_sentLength = count; }

    /// How the reply is read: one of ReceiveMethod. Other values fail the exchange.
    virtual uint32_t GetReceiveMethod() { return kReceiveFromPort; }

    /// Third step of a reply: "," becomes ";", then the names are inserted. FALSE if a named field is
    /// missing; the fields before it have been named.
    virtual BOOL NameFields();

    /// First step of a reply, once for each chunk: keeps the text up to the first NUL. FALSE if memory is
    /// exhausted.
    virtual BOOL SetReply(const char* data, uint32_t length);

    /// Second step of a reply: checks and rewrites the text.
    virtual BOOL Parse() { return TRUE; }

    /// Name of reply field number index, or null past the last named one.
    virtual const char* GetFieldName(uint32_t index);

    /// Inserts name and "=" before field number index. FALSE if there is no such field.
    virtual BOOL NameField(uint32_t index, const std::string& name);

    /// SetReply, Parse and NameFields, up to the first that fails.
    BOOL ProcessReply(const char* data, uint32_t length);

    /// The value after the first occurrence of key: it starts one character after the key and ends before
    /// the next "," or ";". A value that no separator follows cannot be read. FALSE leaves value unchanged.
    /// May throw std::bad_alloc.
    BOOL FindField(const char* key, std::string& value) const;
    /// FindField, converted by DecimalValue. Allocates nothing.
    BOOL GetIntField(const char* key, int& value) const;

    /// The length of GetText in bytes, without its NUL.
    size_t GetTextLength() const { return m_text.size(); }

    CData* GetNext() const { return m_next.get(); }
    void SetNext(std::unique_ptr<CData> next) { m_next = std::move(next); }

    enum SendMethod : uint32_t { kSendNothing = 0, kSendToPort = 1, kSendVendorControl = 2 };
    enum ReceiveMethod : uint32_t {
        kReceiveNothing = 0,
        kReceiveFromPort = 1,
        kReceiveVendorControl = 2,
        kReceiveDeviceId = 3
    };
    static constexpr uint32_t kDefaultSendDelayMs = 250;

protected:
    /// What GetCommand returns for these bytes; null and a length of 0 for an empty range.
    static const uint8_t* CommandBytes(std::span<const uint8_t> command, uint32_t* length)
    {
        *length = static_cast<uint32_t>(command.size());
        return command.empty() ? nullptr : command.data();
    }
    /// What GetFieldName returns from a table of names.
    static const char* NameAt(std::span<const char* const> names, uint32_t index)
    {
        return index < names.size() ? names[index] : nullptr;
    }

    /// Drops everything up to and including the first marker. FALSE, text unchanged, if it is missing.
    BOOL KeepTextAfter(std::string_view marker);
    /// Drops the first separator and everything after it, if there is one.
    void CutTextAt(char separator);

    std::optional<std::string_view> FindValue(std::string_view key) const;

    std::string m_text;
    std::unique_ptr<CData> m_next;
    uint32_t m_sentLength = 0;
};

} // namespace zrtmon
