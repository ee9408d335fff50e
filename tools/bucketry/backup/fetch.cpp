// SPDX-License-Identifier: Apache-2.0
#include "backup/fetch.h"

#include "backup/store.h"

#include <utility>

namespace bucketry::tool
{

namespace
{

using body_t = std::shared_ptr<io::block::CPooledBuf>;

/// What the pieces of one file share.
class CFetch
{
public:
    CFetch(SEntry const& entry, std::string object, std::shared_ptr<IContentReceiver> receiver)
        : m_entry(entry), m_object(std::move(object)), m_receiver(std::move(receiver))
    {
    }

    void OnPiece(std::string const& object, io::block::CPooledBuf const& body, std::exception_ptr failure)
    {
        if (failure && m_outcome.IsWhole())
        {
            m_outcome = OutcomeOf(object, failure);
        }
        if (!m_outcome.IsWhole())
        {
            return;
        }
        m_size += body.GetCount();
        m_hash.Update(body.GetData(), body.GetCount());
        m_receiver->OnData(body.GetData(), body.GetCount());
    }

    void OnLastPiece()
    {
        if (m_outcome.IsWhole() && (m_size != m_entry.m_size || m_hash.Finish() != m_entry.m_sha256))
        {
            m_outcome = {"changed", "The stored content is not what was backed up", m_object};
        }
        m_receiver->OnEnd(m_outcome);
    }

private:
    static SFetchOutcome OutcomeOf(std::string const& object, std::exception_ptr const& failure)
    {
        try
        {
            std::rethrow_exception(failure);
        }
        catch (CObjectStorageException const& error)
        {
            bool const isMissing = error.m_statusCode == 404;
            return {isMissing ? "missing" : "failed", error.what(), object};
        }
        catch (std::exception const& error)
        {
            return {"failed", error.what(), object};
        }
    }

    SEntry const& m_entry;
    std::string const m_object; ///< the first one
    std::shared_ptr<IContentReceiver> const m_receiver;
    SFetchOutcome m_outcome;
    CSha256 m_hash;
    std::uint64_t m_size = 0;
};

} // namespace

void FetchContent(CHost& host, CTaskWindow& window, std::string_view runFolder, SEntry const& entry,
                  std::shared_ptr<IContentReceiver> receiver)
{
    ICloudClient& client = host.Bodies(EAccess::Read);
    std::vector<SStoredPiece> const pieces = PiecesOf(runFolder, entry);
    auto const fetch = std::make_shared<CFetch>(entry, pieces.front().m_path, std::move(receiver));
    for (SStoredPiece const& piece : pieces)
    {
        body_t const body = io::block::CPooledBuf::Alloc(0, host.Pool());
        auto finish =
            [fetch, body, object = piece.m_path, isLast = &piece == &pieces.back()](std::exception_ptr failure)
        {
            fetch->OnPiece(object, *body, failure);
            if (isLast)
            {
                fetch->OnLastPiece();
            }
        };
        window.Run(
            piece.m_size, [&] { return client.DownloadFileAsync(piece.m_path, body, host.Pool()); }, finish);
    }
}

} // namespace bucketry::tool
