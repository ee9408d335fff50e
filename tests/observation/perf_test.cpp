// SPDX-License-Identifier: Apache-2.0
#include "bucketry/base/perf.h"
#include "bucketry/statistics.h"

#include "support/decorator_suite.h"

#include <gtest/gtest.h>

#include <map>
#include <mutex>

namespace bucketry
{
namespace
{

using namespace testing;

/// Switches the events on and takes them as texts while it lives, as "7687 a/b 5".
class CEvents
{
public:
    CEvents()
    {
        perf::SetSink(
            [this](int id, std::vector<perf::CPerfEventArg> const& args)
            {
                std::string text = std::to_string(id);
                for (perf::CPerfEventArg const& arg : args)
                {
                    text += std::visit(
                        [](auto const& value)
                        {
                            if constexpr (std::is_same_v<std::decay_t<decltype(value)>, std::string>)
                            {
                                return " " + value;
                            }
                            else if constexpr (std::is_same_v<std::decay_t<decltype(value)>, int>)
                            {
                                return " i" + std::to_string(value);
                            }
                            else
                            {
                                return " " + std::to_string(value);
                            }
                        },
                        arg.Value());
                }
                std::lock_guard const lock(m_mutex);
                m_events.push_back(text);
            });
        perf::EnablePerfLog(true);
    }
    CEvents(CEvents const&) = delete;
    CEvents& operator=(CEvents const&) = delete;
    ~CEvents()
    {
        perf::EnablePerfLog(false);
        perf::SetSink({});
    }

    std::vector<std::string> Take()
    {
        std::lock_guard const lock(m_mutex);
        return std::exchange(m_events, {});
    }

private:
    std::mutex m_mutex;
    std::vector<std::string> m_events;
};

using events_t = std::vector<std::string>;

/// Start, success and failure of each operation in slot order; one text less or more than three is told apart by name.
struct SExpected
{
    std::string m_start;
    std::string m_success;
    std::string m_failure;
};

std::multimap<std::string, SExpected> const Events = {
    {"DownloadFileAsync", {"7681 a/b", "7682 a/b 5", "7683 a/b 5"}},
    {"DownloadFileAsync", {"7684 a/b 7 9", "7685 a/b 7 9", "7686 a/b 7 9"}},
    {"UploadFileAsync", {"7687 a/b 5", "7688 a/b", "7689 a/b"}},
    {"CopyFileAsync", {"7690 from to", "7691 from", "7692 from"}},
    {"DeleteFileAsync", {"7693 a/b", "7694 a/b", "7695 a/b"}},
    {"DeleteFileListAsync", {"7773 2", "7774 2", "7775 2"}},
    {"GetFileSize", {"7699 a/b", "7700 a/b 4711", "7701 a/b"}},
    {"IsFileExist", {"7705 a/b", "7706 a/b i1", "7707 a/b"}},
    {"IsFileExistAsync", {"7705 a/b", "7706 a/b i0", "7707 a/b i0"}},
    {"CreateFolderAsync", {"7711 a", "7712 a", "7713 a"}},
    {"DeleteFolderAsync", {"7696 a", "7697 a", "7698 a"}},
    {"GetFolderSize", {"7702 a", "7703 a 4711", "7704 a"}},
    {"IsFolderExist", {"7708 a", "7709 a i1", "7710 a"}},
    {"QueryFolder", {"7714 a", "7715 a 2", "7716 a"}},
    {"QueryFolderAsync", {"7782 a", "7783 a", "7784 a"}},
    {"QueryFolderAsync", {"7782 a", "7783 a", "7784 a"}},
    {"GetStorageQuota", {"7717", "7718", ""}},
    {"GetConcurrentTaskLimit", {"7720", "7721 4711", "7722"}},
    {"StartDownload", {"7740 a/b", "7741 a/b", ""}},
    {"StartUpload", {"7760 a/b", "7761 a/b", ""}},
    {"CopyFileInterRegionAsync", {"7776 to", "7777 to", "7778 to"}},
    {"RetrieveArchiveAsync", {"7723 from", "7724 from i0", "7725 from i0"}},
    {"GetArchiveRetrievalStatusAsync", {"7726 a/b", "7727 a/b i0", "7728 a/b i0"}},
    {"Lock", {"7779 a", "7780 a", "7781 a"}},
};

std::shared_ptr<ICloudClient> Reported(CRecorder& recorder)
{
    return WrapCloudClientIfPerfEnabled(RecordingClient(recorder));
}

TEST(Performance, PassesEachOperationOnOnceAndUnchanged)
{
    CEvents events;
    ExpectPassesEverythingOn<ICloudClient>(ClientOperations(), &RecordingClient, &Reported);
}

TEST(Performance, ReportsStartAndEndOfEachOperation)
{
    CEvents events;
    std::map<std::string, std::ptrdiff_t> seen;
    std::size_t reported = 0;
    for (SOperation<ICloudClient> const& operation : ClientOperations())
    {
        auto const [first, last] = Events.equal_range(operation.m_name);
        auto const row = first == last ? last : std::next(first, seen[operation.m_name]++);
        reported += first == last ? 0 : 1;

        SRun<ICloudClient> const success(operation, EOutcome::Succeed, &Reported);
        EXPECT_EQ(events.Take(), first == last ? events_t() : (events_t{row->second.m_start, row->second.m_success}))
            << operation.m_name;
        SRun<ICloudClient> const failure(operation, EOutcome::FailTask, &Reported);
        if (first != last && failure.m_status != 0)
        {
            EXPECT_EQ(events.Take(), (events_t{row->second.m_start, row->second.m_failure})) << operation.m_name;
        }
        events.Take();
    }
    EXPECT_EQ(reported, Events.size());
}

TEST(Performance, ReportsBlockingFailuresAndStreams)
{
    CEvents events;
    CRecorder recorder;
    auto const client = Reported(recorder);
    auto const download = client->StartDownload("p");
    auto const upload = client->StartUpload("q", 9);
    events.Take();
    unsigned char byte = 0;
    download->Read(&byte, 3, 1);
    EXPECT_EQ(download->ObjectSize(), 4711U);
    upload->Write(&byte, 1);
    upload->WriteZeroes(2);
    upload->Flush();
    EXPECT_EQ(upload->Finish(), "text");
    EXPECT_EQ(events.Take(),
              (events_t{"7742 p 3 1", "7743 p 3 1", "7745 p", "7746 p 4711", "7762 q 1", "7763 q 1", "7762 q 2",
                        "7763 q 2", "7765 q", "7766 q", "7768 q", "7769 q"}));

    recorder.m_outcome = EOutcome::ThrowFromCall;
    EXPECT_THROW(download->Read(&byte, 3, 1), CObjectStorageException);
    EXPECT_THROW(upload->Finish(), CObjectStorageException);
    EXPECT_THROW(client->GetFileSize("p"), CObjectStorageException);
    EXPECT_THROW(client->GetConcurrentTaskLimit(), CObjectStorageException);
    EXPECT_THROW(client->GetStorageQuota(), CObjectStorageException);
    EXPECT_THROW(client->StartDownload("p"), CObjectStorageException);
    EXPECT_EQ(events.Take(),
              (events_t{"7742 p 3 1", "7744 p 3 1", "7768 q", "7770 q", "7699 p", "7701 p", "7720", "7722", "7717",
                        "7740 p"}));
}

TEST(Performance, WrapsNothingWhileTheEventsAreOff)
{
    CRecorder recorder;
    auto const client = RecordingClient(recorder);
    EXPECT_EQ(WrapCloudClientIfPerfEnabled(client), client);
    CEvents events;
    auto const wrapped = WrapCloudClientIfPerfEnabled(client);
    perf::EnablePerfLog(false);
    EXPECT_EQ(wrapped->GetStorageQuota(), 4711);
    EXPECT_EQ(events.Take(), events_t());
}

} // namespace
} // namespace bucketry
