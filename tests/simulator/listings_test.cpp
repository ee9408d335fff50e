// SPDX-License-Identifier: Apache-2.0
#include "client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace bucketry::simulator::tests
{

using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

using names_t = std::vector<std::string>;

class SimulatedListings : public testing::Test
{
protected:
    SimulatedListings() { m_simulator.CreateBucket("b", {.m_versioning = true}); }

    /// All pages of a listing: `next` gives the marker of the following page. It stands between the two halves of the
    /// query, since libcurl signs the parameters in the order in which they come.
    template <class TNext>
    names_t All(std::string const& before, std::string const& behind, std::string const& element, TNext&& next) const
    {
        names_t all;
        std::string marker;
        for (int pages = 0; pages < 100; ++pages)
        {
            auto const page = m_client.Get("/b?" + before + marker + behind);
            EXPECT_EQ(page.m_status, 200) << page.m_body;
            auto const names = page.Elements(element);
            all.insert(all.end(), names.begin(), names.end());
            if (page.Element("IsTruncated") != "true")
            {
                return all;
            }
            marker = next(page);
        }
        ADD_FAILURE() << "The listing doesn't end.";
        return all;
    }

    CSimulator m_simulator;
    CClient m_client{m_simulator};
};

} // namespace

TEST_F(SimulatedListings, GiveTheSameNamesWithEveryPageSize)
{
    for (std::string const key : {"a", "dir/a", "dir/b", "dir/sub/c", "dir/sub/d", "e", "gone", "last/"})
    {
        m_client.Put("/b/" + key, "");
    }
    m_client.Delete("/b/gone");
    names_t const keys{"a", "dir/a", "dir/b", "dir/sub/c", "dir/sub/d", "e", "last/"};
    for (std::string const size : {"1", "2", "3", "1000"})
    {
        auto const token = [](SAnswer const& page)
        { return "continuation-token=" + Escaped(page.Element("NextContinuationToken")) + "&"; };
        EXPECT_EQ(All("", "list-type=2&max-keys=" + size, "Key", token), keys);
        auto const last = [](SAnswer const& page) { return "marker=" + Escaped(page.Elements("Key").back()) + "&"; };
        EXPECT_EQ(All("", "max-keys=" + size, "Key", last), keys);
        auto const marker = [&](SAnswer const& page) { return "marker=" + Escaped(page.Element("NextMarker")) + "&"; };
        EXPECT_EQ(All("delimiter=%2F&", "max-keys=" + size, "Key", marker), (names_t{"a", "e"})) << size;
        EXPECT_EQ(All("delimiter=%2F&", "max-keys=" + size, "CommonPrefixes", marker),
                  (names_t{"<Prefix>dir/</Prefix>", "<Prefix>last/</Prefix>"}))
            << size;
        EXPECT_EQ(All("delimiter=%2F&", "max-keys=" + size + "&prefix=dir%2F", "Key", marker),
                  (names_t{"dir/a", "dir/b"}));
    }
    auto const after = m_client.Get("/b?fetch-owner=true&list-type=2&start-after=dir%2Fsub%2Fc");
    EXPECT_THAT(after.Elements("Key"), ElementsAre("dir/sub/d", "e", "last/"));
    EXPECT_EQ(after.Elements("Owner").size(), 3u);
    EXPECT_EQ(m_client.Get("/b?list-type=2&max-keys=0").Element("IsTruncated"), "false");
}

TEST_F(SimulatedListings, NameEveryVersionOnceWithEveryPageSize)
{
    names_t ids;
    for (std::string const key : {"a", "a", "b", "p/1", "p/2", "z"})
    {
        ids.push_back(m_client.Put("/b/" + key, "x").Header("x-amz-version-id"));
    }
    auto const marker = m_client.Delete("/b/a");
    EXPECT_EQ(marker.Header("x-amz-delete-marker"), "true");
    // By key, of each key the newest first.
    names_t const expected{marker.Header("x-amz-version-id"), ids[1], ids[0], ids[2], ids[3], ids[4], ids[5]};
    for (std::string const size : {"1", "2", "3", "1000"})
    {
        names_t seen;
        std::string markers;
        for (SAnswer page; seen.size() < 20;)
        {
            page = m_client.Get("/b?" + markers + "max-keys=" + size +
                                (markers.empty() ? "" : "&version-id-marker=" + page.Element("NextVersionIdMarker")) +
                                "&versions=");
            auto const found = page.Elements("VersionId");
            seen.insert(seen.end(), found.begin(), found.end());
            if (page.Element("IsTruncated") != "true")
            {
                break;
            }
            markers = "key-marker=" + Escaped(page.Element("NextKeyMarker")) + "&";
        }
        EXPECT_EQ(seen, expected) << size;
    }
    auto const folded = m_client.Get("/b?delimiter=%2F&versions=");
    EXPECT_THAT(folded.m_body, HasSubstr("<CommonPrefixes><Prefix>p/</Prefix></CommonPrefixes>"));
    EXPECT_EQ(folded.Elements("VersionId").size(), 5u);
    EXPECT_EQ(folded.Elements("DeleteMarker").size(), 1u);
}

TEST_F(SimulatedListings, EncodeNamesOnlyWhenAsked)
{
    m_client.Put("/b/a%20b%2Bc/d%01", "");
    EXPECT_THAT(m_client.Get("/b").m_body, HasSubstr("<Key>a b+c/d&#x1;</Key>"));
    auto const encoded = m_client.Get("/b?delimiter=%2F&encoding-type=url");
    EXPECT_EQ(encoded.Element("EncodingType"), "url");
    EXPECT_THAT(encoded.Elements("Prefix"), ElementsAre("", "a+b%2Bc/"));
}

TEST_F(SimulatedListings, RefuseWhatTheyCannotRead)
{
    for (std::string const query :
         {"max-keys=-1", "max-keys=x", "encoding-type=base64", "list-type=3", "continuation-token=x&list-type=2",
          "version-id-marker=x&versions=", "key-marker=k&version-id-marker=x&versions=", "max-uploads=x&uploads="})
    {
        EXPECT_EQ(m_client.Get("/b?" + query).Element("Code"), "InvalidArgument") << query;
    }
}

TEST_F(SimulatedListings, ShowPendingUploads)
{
    names_t ids;
    for (std::string const key : {"a", "a", "b", "p/1", "p/2"})
    {
        ids.push_back(m_client.Post("/b/" + key + "?uploads=", "").Element("UploadId"));
    }
    EXPECT_EQ(m_simulator.PendingUploads("b"), 5u);
    EXPECT_EQ(m_client.Get("/b?uploads=").Elements("UploadId").size(), 5u);
    auto const first = m_client.Get("/b?max-uploads=1&uploads=");
    EXPECT_EQ(first.Element("NextKeyMarker"), "a");
    auto const rest = m_client.Get(
        "/b?delimiter=%2F&key-marker=a&upload-id-marker=" + first.Element("NextUploadIdMarker") + "&uploads=");
    EXPECT_THAT(rest.Elements("Key"), ElementsAre("a", "b"));
    EXPECT_THAT(rest.m_body, HasSubstr("<CommonPrefixes><Prefix>p/</Prefix></CommonPrefixes>"));
}

} // namespace bucketry::simulator::tests
