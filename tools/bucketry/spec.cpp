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
        throw exc::CRuntimeExc("[%1] is no usable connection specification. %2", Printable(file), error.what());
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
