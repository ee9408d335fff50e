// SPDX-License-Identifier: Apache-2.0
// A manifest from anybody, as it comes and with its digest set right: it is refused with the library's exception, or is
// byte for byte what the tool itself writes for what was read.

#include "backup/manifest.h"

#include "bucketry/base/exceptions.h"

#include <cstdlib>

using namespace bucketry;
using namespace bucketry::tool;

namespace
{

void Read(std::string const& text)
{
    SManifest manifest;
    try
    {
        manifest = ParseManifest(text);
    }
    catch (exc::CRuntimeExc const&)
    {
        return;
    }
    CManifestWriter writer(manifest.m_run);
    for (SEntry const& entry : manifest.m_entries)
    {
        writer.Add(entry);
    }
    if (writer.Finish() != text)
    {
        std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(unsigned char const* data, std::size_t size)
{
    std::string const text(data, data + size);
    Read(text);
    CSha256 hash;
    hash.Update(text.data(), text.size());
    Read(text + "sha256 " + ToHex(hash.Finish()) + "\n");
    return 0;
}
