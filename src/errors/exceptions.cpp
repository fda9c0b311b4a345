#include "quorvane/exceptions.h"

#include <string>

#include "util/text.h"

namespace quorvane {

struct DefaultException::Detail {
  std::wstring message;
  std::uint32_t code;
};

namespace {

std::string NarrowText(const wchar_t* message) {
  return message ? ToUtf8(message) : std::string();
}

}  // namespace

DefaultException::DefaultException(std::uint32_t code, const wchar_t* message)
    : std::runtime_error(NarrowText(message)),
      detail_(std::make_shared<const Detail>(Detail{WideOrEmpty(message), code})) {}

DefaultException::DefaultException(const DefaultException& other) = default;
DefaultException& DefaultException::operator=(const DefaultException& other) = default;
DefaultException::~DefaultException() = default;

std::uint32_t DefaultException::GetErrorCode() const {
  return detail_->code;
}

const wchar_t* DefaultException::GetMessageDescription() const {
  return detail_->message.c_str();
}

ObjectNotFoundException::ObjectNotFoundException(std::uint32_t code, const wchar_t* message)
    : DefaultException(code, message) {}

VmNotFoundException::VmNotFoundException(std::uint32_t code, const wchar_t* message)
    : ObjectNotFoundException(code, message) {}

CannotConnectException::CannotConnectException(std::uint32_t code, const wchar_t* message)
    : DefaultException(code, message) {}

AccessDeniedException::AccessDeniedException(std::uint32_t code, const wchar_t* message)
    : DefaultException(code, message) {}

HyperVNotFoundException::HyperVNotFoundException(std::uint32_t code, const wchar_t* message)
    : DefaultException(code, message) {}

}  // namespace quorvane
