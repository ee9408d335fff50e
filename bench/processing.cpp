// SPDX-License-Identifier: Apache-2.0
// What the processing client costs beside bare zstd then bare OpenSSL, one thread, the same 16 MiB; how much memory it
// takes at its peak; and what counting a request costs.
//
// --rounds=N  how many times each way is taken, in turn (15)

#include "measure.h"

#include "bucketry/processing.h"
#include "bucketry/statistics.h"
#include "bucketry/tasks.h"

#include "bucketry/forwarding.h"

#include <openssl/evp.h>
#include <zlib.h>
#include <zstd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <random>

namespace
{

using namespace bucketry;
using io::block::CPooledBuf;
using io::block::EBufTransformType;
using body_t = std::shared_ptr<CPooledBuf>;
using bytes_t = std::vector<unsigned char>;
using clock_type = std::chrono::steady_clock;

constexpr unsigned long BodySize = 16UL << 20;
constexpr unsigned long TagSize = 16;
double const BodyMiB = static_cast<double>(BodySize) / (1 << 20);

/// Words in the order of chance, some far more frequent than others, as in a language.
void FillWithText(CPooledBuf& body)
{
    std::mt19937 random(7);
    std::geometric_distribution<unsigned> word(0.002);
    body.SetCount(BodySize);
    for (unsigned long at = 0; at < BodySize;)
    {
        std::string const text = std::to_string(word(random) * 2654435761U) + (random() % 12 == 0 ? ".\n" : " ");
        unsigned long const size = std::min(BodySize - at, static_cast<unsigned long>(text.size()));
        std::memcpy(body.GetData() + at, text.data(), size);
        at += size;
    }
}

body_t TextBody()
{
    body_t body = CPooledBuf::Alloc(BodySize, nullptr);
    FillWithText(*body);
    return body;
}

/// Keeps one object, and notes when it has handed it out: what comes after that is the decorator's. Nothing else is
/// asked.
class COneObject final : public details::CForwardingClient
{
public:
    COneObject() : CForwardingClient(nullptr) {}

    task_t UploadFileAsync(std::string const&, bufs_t bufs) override
    {
        m_stored = std::move(bufs);
        return CPplxTaskUtils().CreateCompletedTask();
    }
    task_t DownloadFileAsync(std::string const&, bufs_t bufs, pool_t) override
    {
        *bufs = *m_stored;
        m_handedOut = clock_type::now();
        return CPplxTaskUtils().CreateCompletedTask();
    }
    std::uint32_t GetConcurrentTaskLimit() override { return 16; }

    bufs_t m_stored;
    clock_type::time_point m_handedOut;
};

double Since(clock_type::time_point start)
{
    return std::chrono::duration<double>(clock_type::now() - start).count();
}

struct SKind
{
    char const* m_name;
    EBufTransformType m_type;
    int m_level; ///< of the compression library
};

constexpr SKind Kinds[] = {{"none", EBufTransformType::None, 0},
                           {"zlib", EBufTransformType::Zlib, 6},
                           {"zstd-fast", EBufTransformType::ZstdFast, 1},
                           {"zstd", EBufTransformType::Zstd, 3},
                           {"zstd-high", EBufTransformType::ZstdHigh, 8}};

void Check(bool isOk)
{
    if (!isOk)
    {
        throw std::runtime_error("a bare operation failed");
    }
}

/// The bare calls between buffers that are there from the beginning.
class CBare
{
public:
    CBare(SKind const& kind, CPooledBuf const& plain)
        : m_kind(kind), m_plain(plain), m_packed(Bound()), m_sealed(Bound())
    {
    }

    void Encode()
    {
        m_packedSize = m_packed.size();
        if (m_kind.m_type == EBufTransformType::Zlib)
        {
            Check(compress2(m_packed.data(), &m_packedSize, m_plain.GetData(), BodySize, m_kind.m_level) == Z_OK);
        }
        else if (m_kind.m_type != EBufTransformType::None)
        {
            m_packedSize = ZSTD_compress(m_packed.data(), m_packed.size(), m_plain.GetData(), BodySize, m_kind.m_level);
            Check(ZSTD_isError(m_packedSize) == 0);
        }
        else
        {
            m_packedSize = BodySize;
        }
        bool const isPacked = m_kind.m_type != EBufTransformType::None;
        Cipher(true, m_sealed.data(), isPacked ? m_packed.data() : m_plain.GetData());
    }

    void Decode()
    {
        bool const isPacked = m_kind.m_type != EBufTransformType::None;
        Cipher(false, isPacked ? m_packed.data() : m_result.data(), m_sealed.data());
        unsigned long size = BodySize;
        if (m_kind.m_type == EBufTransformType::Zlib)
        {
            Check(uncompress(m_result.data(), &size, m_packed.data(), m_packedSize) == Z_OK);
        }
        else if (isPacked)
        {
            size = ZSTD_decompress(m_result.data(), BodySize, m_packed.data(), m_packedSize);
        }
        Check(size == BodySize);
    }

private:
    static unsigned long Bound() { return std::max(ZSTD_compressBound(BodySize), compressBound(BodySize)); }

    void Cipher(bool encrypts, unsigned char* target, unsigned char const* source)
    {
        static constexpr unsigned char key[32] = {1};
        static constexpr unsigned char nonce[12] = {2};
        std::unique_ptr<EVP_CIPHER_CTX, void (*)(EVP_CIPHER_CTX*)> const context(EVP_CIPHER_CTX_new(),
                                                                                 &EVP_CIPHER_CTX_free);
        int size = 0;
        Check(EVP_CipherInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, key, nonce, encrypts ? 1 : 0) == 1);
        Check(EVP_CipherUpdate(context.get(), target, &size, source, static_cast<int>(m_packedSize)) == 1);
        if (!encrypts)
        {
            Check(EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, TagSize, m_tag) == 1);
        }
        Check(EVP_CipherFinal_ex(context.get(), target + m_packedSize, &size) == 1);
        if (encrypts)
        {
            Check(EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, TagSize, m_tag) == 1);
        }
    }

    SKind const& m_kind;
    CPooledBuf const& m_plain;
    bytes_t m_packed;
    bytes_t m_sealed;
    bytes_t m_result = bytes_t(BodySize + TagSize);
    unsigned char m_tag[TagSize] = {};
    unsigned long m_packedSize = 0;
};

std::shared_ptr<ICloudClient> Processed(SKind const& kind, std::shared_ptr<ICloudClient> const& inner)
{
    return CreateProcessingContext(kind.m_type, crypto::CKeySet::Generate(),
                                   std::make_shared<crypto::CKeySetCollection>())
        ->CreateProcessingCloudClient(inner);
}

/// Both ways in turn, so that whatever else the machine does hits both. Rates of the medians; the ratio is of rates.
void CompareRates(SKind const& kind, int rounds)
{
    body_t const plain = TextBody();
    auto const store = std::make_shared<COneObject>();
    auto const client = Processed(kind, store);
    CBare bare(kind, *plain);
    std::vector<double> seconds[4];
    for (int round = 0; round < rounds; ++round)
    {
        auto start = clock_type::now();
        client->UploadFileAsync("object", plain)->Wait();
        seconds[0].push_back(Since(start));
        start = clock_type::now();
        bare.Encode();
        seconds[1].push_back(Since(start));
        body_t const target = CPooledBuf::Alloc(BodySize, nullptr);
        client->DownloadFileAsync("object", target, nullptr)->Wait();
        seconds[2].push_back(Since(store->m_handedOut));
        start = clock_type::now();
        bare.Decode();
        seconds[3].push_back(Since(start));
        Check(target->GetCount() == BodySize && std::memcmp(target->GetData(), plain->GetData(), BodySize) == 0);
    }
    auto const rate = [&seconds](int way) { return BodyMiB / bench::Median(seconds[way]); };
    std::string const name = kind.m_name;
    bench::PrintRatio(name + ": compress, encrypt", "MiB/s", rate(0), rate(1), ">= 0.90");
    bench::PrintRatio(name + ": decrypt, decompress", "MiB/s", rate(2), rate(3), ">= 0.90");
}

/// Peak resident size in bodies above that of a process that has stored an empty one: of an upload with the caller's
/// body, of a download with its result.
void PrintPeak(SKind const& kind)
{
    auto const store = std::make_shared<COneObject>();
    auto const client = Processed(kind, store);
    auto const peakOf = [](std::function<void()> const& action)
    {
        auto const child = [&action]
        {
            action();
            return std::vector{1.0};
        };
        return bench::InChild(child).m_peakMiB / BodyMiB;
    };
    auto const storeNothing = [&kind]
    { Processed(kind, std::make_shared<COneObject>())->UploadFileAsync("", CPooledBuf::Alloc(0, nullptr))->Wait(); };
    double const nothing = peakOf(storeNothing);
    double const encoding = peakOf([&] { client->UploadFileAsync("object", TextBody())->Wait(); });
    client->UploadFileAsync("object", TextBody())->Wait();
    io::block::bufs_pool_t::GetInst()->Trim();
    double const holding = peakOf(storeNothing);
    double const decoding =
        peakOf([&] { client->DownloadFileAsync("object", CPooledBuf::Alloc(0, nullptr), nullptr)->Wait(); });
    std::printf("%-12s upload %.2f, download %.2f (wanted: at most 3)\n", kind.m_name, encoding - nothing,
                decoding - holding);
}

void PrintCostOfCounting(int rounds)
{
    constexpr int calls = 1'000'000;
    constexpr int transfers = 2000;
    std::shared_ptr<ICloudClient> const bare = std::make_shared<COneObject>();
    std::shared_ptr<ICloudClient> const counted = WrapCloudClientInStatistics("bench", bare);
    body_t const body = CPooledBuf::Alloc(1, nullptr);
    std::vector<double> call[2];
    std::vector<double> transfer[2];
    for (int round = 0; round < rounds; ++round)
    {
        for (int const way : {0, 1})
        {
            ICloudClient& client = way == 0 ? *counted : *bare;
            unsigned long sum = 0;
            auto start = clock_type::now();
            for (int n = 0; n < calls; ++n)
            {
                sum += client.GetConcurrentTaskLimit();
            }
            call[way].push_back(Since(start) * 1e9 / calls);
            Check(sum == 16UL * calls);
            start = clock_type::now();
            for (int n = 0; n < transfers; ++n)
            {
                client.UploadFileAsync("object", body)->Wait();
            }
            transfer[way].push_back(Since(start) * 1e6 / transfers);
        }
    }
    bench::PrintHeader("What counting costs");
    bench::PrintRatio("a call that moves no bytes", "ns", bench::Median(call[0]), bench::Median(call[1]),
                      "difference < 100");
    bench::PrintRatio("a transfer: one continuation", "us", bench::Median(transfer[0]), bench::Median(transfer[1]));
}

} // namespace

int main(int argc, char** argv)
{
    int const rounds = std::stoi(bench::Option(argc, argv, "rounds").value_or("15"));
    std::printf("Peak memory in bodies of %.0f MiB, the caller's own among them\n", BodyMiB);
    for (SKind const& kind : Kinds)
    {
        PrintPeak(kind);
    }
    bench::PrintHeader("Processing beside the bare libraries");
    for (SKind const& kind : Kinds)
    {
        CompareRates(kind, rounds);
    }
    PrintCostOfCounting(rounds);
}
