// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bucketry/s3wire/records.h"
#include "s3wire/wire/request.h"

#include <span>
#include <string>
#include <vector>

/// The deletion of many objects with one request.
namespace bucketry::s3wire::wire
{

using delete_item_t = s3::SMultiObjectDeleteRequest::SObjectVersionInfo;

inline constexpr std::size_t MaxDeleteItems = 1000;

/// An item that the store has refused to delete.
struct SRefusedItem
{
    std::string m_key;
    std::string m_versionId;
    std::string m_code;
    std::string m_message;
};

/// Whether a request body can name the object. One whose key or version id has control characters other than TAB, LF
/// and CR is deleted alone.
bool FitsDeleteBody(delete_item_t const& item);

/// At most 1000 items that fit, all of them with a key.
SWireRequest MakeDeleteObjects(std::string const& bucket, std::span<delete_item_t const> items);
/// The refused ones: the store names no others.
std::vector<SRefusedItem> ReadDeleteObjects(transport::SHttpResponse const& answer);

} // namespace bucketry::s3wire::wire
