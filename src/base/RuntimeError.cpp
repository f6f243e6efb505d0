#include "base/RuntimeError.h"

#include <new>
#include <utility>

namespace bkfd {
namespace {

TextView DefaultDescription(ErrorNumber number) {
    switch (number) {
        case ErrorNumber::InvalidProcedureCall:
            return u"Invalid procedure call or argument";
        case ErrorNumber::Overflow:
            return u"Overflow";
        case ErrorNumber::OutOfMemory:
            return u"Out of memory";
        case ErrorNumber::SubscriptOutOfRange:
            return u"Subscript out of range";
        case ErrorNumber::TypeMismatch:
            return u"Type mismatch";
        case ErrorNumber::Internal:
            return u"Internal error";
        case ErrorNumber::FileNotFound:
            return u"File not found";
        case ErrorNumber::DeviceIo:
            return u"Device I/O error";
        case ErrorNumber::PathFileAccess:
            return u"Path/File access error";
        case ErrorNumber::ObjectNotSet:
            return u"Object variable not set";
        case ErrorNumber::CannotCreateObject:
            return u"Component can't create object";
        case ErrorNumber::MemberNotFound:
            return u"Object doesn't support this property or method";
        case ErrorNumber::KeyAlreadyAssociated:
            return u"This key is already associated with an element of this collection";
    }
    return u"Unknown error";
}

}  // namespace

RuntimeError::RuntimeError(ErrorNumber number)
    : RuntimeError(number, Text(DefaultDescription(number))) {}

RuntimeError::RuntimeError(ErrorNumber number, Text description)
    : RuntimeError(static_cast<std::int32_t>(number), std::move(description)) {}

RuntimeError::RuntimeError(std::int32_t number, Text description)
    : number_(number), description_(std::move(description)), utf8_(ToUtf8(description_)) {}

RuntimeError CurrentError() {
    try {
        throw;
    } catch (const RuntimeError& error) {
        return error;
    } catch (const std::bad_alloc&) {
        return RuntimeError(ErrorNumber::OutOfMemory);
    } catch (const std::exception& error) {
        return RuntimeError(ErrorNumber::Internal, FromUtf8(error.what()));
    }
}

}  // namespace bkfd
