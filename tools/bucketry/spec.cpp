// SPDX-License-Identifier: Apache-2.0
#include "spec.h"

#include "files.h"
#include "statistics.h"
#include "text.h"

#include <fcntl.h>
#include <openssl/crypto.h>

namespace bucketry::tool
{

namespace
{

constexpr std::size_t MaxSpecBytes = 1 << 20;

/// A text that holds secrets, wiped when it goes.
class CSecretText
{
public:
    explicit CSecretText(std::string text) : m_text(std::move(text)) {}
    CSecretText(CSecretText const&) = delete;
    CSecretText& operator=(CSecretText const&) = delete;
    ~CSecretText() { OPENSSL_cleanse(m_text.data(), m_text.size()); }

    std::string& Get() noexcept { return m_text; }

private:
    std::string m_text;
};

/// Which element of a well-formed specification cannot be read, where the message does not tell: "In the attribute ...:
/// ".
std::string PlaceOfFault(std::string const& text)
{
    using s3wire::s3::CObjectStorageClass;
    using sockets::ssl::CX509CertBlob;
    struct SAttribute
    {
        char const* m_element;
        char const* m_name;
        void (*m_read)(std::string const& value);
    };
    static constexpr SAttribute attributes[] = {
        {"BucketAddr", "AmazonS3RestClientId", [](std::string const& value) { guid::guid_t::FromAStr(value); }},
        {"BucketAddr", "ServerCertificate", [](std::string const& value) { CX509CertBlob::FromPemString(value); }},
        {"Options", "StorageClass", [](std::string const& value) { CObjectStorageClass::FromString(value); }},
    };
    xml::xml_holder_t const root = xml::TiXmlParseSafe(text, s3::SS3ClientConnSpec::GetRootNodeName());
    for (SAttribute const& attribute : attributes)
    {
        xml::xml_holder_t const element = root.IsInvalid() ? root : xml::TiXmlGetChildSafe(root, attribute.m_element);
        std::string value;
        if (element.IsInvalid() || !xml::TiXmlGetStrAttrSafe(element, attribute.m_name, value))
        {
            continue;
        }
        try
        {
            attribute.m_read(value);
        }
        catch (exc::CRuntimeExc const&)
        {
            return util::str_format("In the attribute \"%1\" of \"%2\": ", attribute.m_name, attribute.m_element);
        }
    }
    return {};
}

std::string ReasonOf(std::exception const& error, std::string const& text)
{
    try
    {
        return PlaceOfFault(text) + error.what();
    }
    catch (exc::CRuntimeExc const&) // no XML: the message says so
    {
        return error.what();
    }
}

} // namespace

s3::SS3ClientConnSpec LoadSpec(std::string const& file)
{
    CFd const input = OpenAt(AT_FDCWD, file, O_RDONLY, file);
    CSecretText text{std::string(MaxSpecBytes, '\0')};
    text.Get().resize(ReadUpTo(input, reinterpret_cast<unsigned char*>(text.Get().data()), MaxSpecBytes, file));
    try
    {
        return s3::SS3ClientConnSpec::Deserialize(text.Get());
    }
    catch (std::exception const& error)
    {
        throw exc::CRuntimeExc("[%1] is no usable connection specification. %2", Printable(file),
                               ReasonOf(error, text.Get()));
    }
}

void WriteNewSpec(s3::SS3ClientConnSpec const& spec, std::string const& file)
{
    CSecretText text(spec.Serialize());
    CFd const output = OpenAt(AT_FDCWD, file, O_WRONLY | O_CREAT | O_EXCL, file, 0600);
    WriteAll(output, reinterpret_cast<unsigned char const*>(text.Get().data()), text.Get().size(), file);
}

std::shared_ptr<ICloudClient> OpenStore(std::string const& file)
{
    return s3::CS3CompatibleClientFactory::Create(LoadSpec(file), StorageName, nullptr);
}

} // namespace bucketry::tool
