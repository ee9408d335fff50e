// SPDX-License-Identifier: Apache-2.0
#include "protocol/wording.h"

#include <string_view>

namespace bucketry::simulator
{

namespace
{

struct SWords
{
    std::string_view m_code;
    std::string_view m_googleCode;
    std::string_view m_message;
};

/// What is not here is called the same, and its message stays.
constexpr SWords Words[] = {
    {"AccessDenied", "AccessDenied", "Access denied."},
    {"AuthorizationHeaderMalformed", "InvalidArgument", "Invalid argument."},
    {"InvalidAccessKeyId", "InvalidSecurity", "The provided security credentials are not valid."},
    {"InvalidArgument", "InvalidArgument", "Invalid argument."},
    {"InvalidRequest", "InvalidArgument", "Invalid argument."},
    {"InvalidStorageClass", "InvalidArgument", "Invalid argument."},
    {"KeyTooLongError", "KeyTooLong", "The object name you specified was too long."},
    {"NoSuchBucket", "NoSuchBucket", "The specified bucket does not exist."},
    {"NoSuchKey", "NoSuchKey", "The specified key does not exist."},
    {"NotImplemented", "NotImplemented",
     "A header or query you provided requested a function that is not implemented."},
    {"PreconditionFailed", "PreconditionFailed", "At least one of the pre-conditions you specified did not hold."},
    {"SignatureDoesNotMatch", "SignatureDoesNotMatch", "Access denied."},
};

bool IsOfSignature(std::string const& element)
{
    return element == "StringToSign" || element == "CanonicalRequest";
}

} // namespace

CStoreError InGoogleWords(CStoreError error, SRoute const& route)
{
    std::erase_if(error.m_elements, [](auto const& element) { return !IsOfSignature(element.first); });
    for (auto const& words : Words)
    {
        if (error.m_code != words.m_code)
        {
            continue;
        }
        std::string details = std::move(error.m_message);
        if (error.m_code == "NoSuchKey")
        {
            details = "No such object: " + route.m_bucket + "/" + route.m_key;
        }
        error.m_code = words.m_googleCode;
        error.m_message = words.m_message;
        error.m_elements.insert(error.m_elements.begin(), {"Details", std::move(details)});
        break;
    }
    return error;
}

} // namespace bucketry::simulator
