// SPDX-License-Identifier: Apache-2.0
#include "lock_fixture.h"

#include <gmock/gmock.h>

namespace bucketry::testing
{

namespace
{

using namespace ::testing;
using exc::CRuntimeExc;
using logging::ELevel;

TEST(LockInfo, ReadsWhatItWroteAndNothingElse)
{
    SLockInfo info = SLockInfo::Create("id", "", std::nullopt);
    info.ValidTillUtc = datetime::CDateTime::fromUnixTime(1'800'000'000, false);
    EXPECT_EQ(info.ToStr(),
              R"(<SLockInfo LockId="id" ValidTillUtc="2027-01-15 08:00:00" Reason="" PID=")" + util::str(info.PID) +
                  R"("/>)");
    info.Reason = "a \"<reason>\" & more";
    info.AgentId = "";
    SLockInfo const back = SLockInfo::Unserialize(info.Serialize());
    EXPECT_EQ(std::tie(back.LockId, back.ValidTillUtc, back.Reason, back.PID, back.AgentId),
              std::tie(info.LockId, info.ValidTillUtc, info.Reason, info.PID, info.AgentId));
    SLockInfo const sparse =
        SLockInfo::FromStr(R"(<SLockInfo More="1" Reason="r" ValidTillUtc="2027-01-15 08:00:01" LockId="id"/>)");
    EXPECT_TRUE(sparse == back);
    EXPECT_EQ(sparse.PID, 0);
    EXPECT_FALSE(sparse.AgentId);

    for (char const* text : {"", "<SLockInfo", "<Other/>", R"(<SLockInfo LockId="id" Reason=""/>)",
                             R"(<SLockInfo ValidTillUtc="2027-01-15 08:00:00" Reason=""/>)",
                             R"(<SLockInfo LockId="id" ValidTillUtc="2027-02-30 08:00:00" Reason=""/>)",
                             R"(<SLockInfo LockId="id" ValidTillUtc="2027-01-15 08:00:00"/>)",
                             R"(<SLockInfo LockId="id" ValidTillUtc="2027-01-15 08:00:00" Reason="" PID="x"/>)"})
    {
        EXPECT_THROW(SLockInfo::FromStr(text), CRuntimeExc) << text;
    }
}

class OptimisticLock : public TestWithParam<bool>, protected CLockFixture
{
protected:
    OptimisticLock() : CLockFixture(GetParam()) {}

    std::string Delete(std::string const& name, int version) const
    {
        return GetParam() ? "DeleteFileVersionAsync(f/" + name + ",v" + util::str(version) + ")"
                          : "DeleteFileAsync(f/" + name + ")";
    }
};

INSTANTIATE_TEST_SUITE_P(Stores, OptimisticLock, Bool(),
                         [](auto const& info) { return info.param ? "Versioned" : "Unversioned"; });

TEST_P(OptimisticLock, UncontendedTakesElevenCallsInOrderAndOnePause)
{
    CCloudOptimisticLock lock = MakeLock();
    lock.Lock(1000, m_port);
    auto const read = [](std::string const& name) { return "DownloadFileAsync(f/" + name + ")"; };
    auto const put = [](std::string const& name) { return "UploadFileAsync(f/" + name + ")"; };
    EXPECT_THAT(m_store->Calls(),
                ElementsAre(read("lock"), read("declare"), put("declare"), read("try"), put("try"), read("declare"),
                            read("try"), read("lock"), put("lock"), Delete("declare", 1), Delete("try", 2)));
    EXPECT_THAT(Sleeps(), ElementsAre(200));
    EXPECT_EQ(SLockInfo::FromStr(m_store->Objects().at("f/lock")).LockId, lock.GetLockId().ToAStr());
    EXPECT_FALSE(lock.TryLock(1000, m_port));
    EXPECT_EQ(m_log.Count(ELevel::Warning, "Can't get lock: Cloud lock has already been acquired."), 1U);
    lock.Unlock();
    lock.Unlock();
    EXPECT_THAT(m_store->Objects(), IsEmpty());
    EXPECT_TRUE(lock.TryLock(1000, m_port));
}

TEST_P(OptimisticLock, KeepAliveRenewsAndOutlivesAFailure)
{
    std::atomic<bool> fails = false;
    m_store->SetHooks({[&](std::string const&)
                       {
                           if (fails)
                           {
                               throw CObjectStorageException(CRuntimeExc("no"), 503);
                           }
                       },
                       {}});
    CCloudOptimisticLock lock = MakeLock();
    lock.Lock(0, m_port);
    auto const validTill = [&] { return SLockInfo::FromStr(m_store->Objects().at("f/lock")).ValidTillUtc; };
    for (int pass = 0; pass < 2; ++pass)
    {
        m_clock.Advance(5);
        LetKeepAlivePass();
        EXPECT_EQ(validTill().toUnixTime(), m_clock.Now().toUnixTime() + 10);
        EXPECT_EQ(m_store->Versions("f/lock").size(), 1U);
        EXPECT_EQ(m_lastWaitMsec, 5000);
    }
    m_params.m_keepAliveMsec = 30000;
    CCloudOptimisticLock contender = MakeLock();
    EXPECT_FALSE(contender.TryLock(1, m_port));

    fails = true;
    LetKeepAlivePass();
    EXPECT_EQ(m_log.Count(ELevel::Error, "Failed to update cloud lock."), 1U);
    EXPECT_THROW(lock.Unlock(), CObjectStorageException);
    fails = false;
    EXPECT_FALSE(lock.TryLock(1, m_port));
    lock.Unlock();
    EXPECT_THAT(m_store->Objects(), IsEmpty());
}

TEST_P(OptimisticLock, WaitsForAHolderWithGrowingPausesUntilItsRecordHasRunOut)
{
    m_store->Put("f/lock", Other(150));
    EXPECT_FALSE(MakeLock().TryLock(1, m_port));
    EXPECT_EQ(m_log.Count(ELevel::Warning, "Can't get lock: Failed to acquire cloud lock. theirs"), 1U);
    EXPECT_EQ(
        m_log.Count(ELevel::Info,
                    "Waiting for cloud lock [f]. theirs. PID: [" + util::str(util::GetPID()) + "], agent id [agent]"),
        1U);
    EXPECT_THAT(Sleeps(), ElementsAre(1000, 1345));

    CCloudOptimisticLock lock = MakeLock();
    lock.Lock(-1, m_port);
    std::vector<int> backOffs(1);
    for (int const msec : Sleeps())
    {
        msec == 1345 ? backOffs.push_back(0) : void(backOffs.back() += msec);
    }
    EXPECT_THAT(backOffs, ElementsAre(1000, 1000, 2000, 4000, 8000, 16000, 32000, 60000, 60000, 200));
    EXPECT_EQ(m_store->Versions("f/lock").size(), GetParam() ? 2U : 1U) << "the dead record is not deleted";
    lock.Unlock();
    EXPECT_TRUE(MakeLock().TryLock(1, m_port));
}

TEST_P(OptimisticLock, RefusesAShortKeepAliveAndADamagedRecord)
{
    m_params.m_keepAliveMsec = 9999;
    ExpectFailure<CRuntimeExc>("Invalid keep-alive interval. Value must be greater than 10 seconds.",
                               [&] { MakeLock().TryLock(0, m_port); });
    m_params.m_keepAliveMsec = 10000;
    m_store->Put("f/declare", "<SLockInfo/>");
    ExpectFailure<CRuntimeExc>(HasSubstr("LockId"), [&] { MakeLock().TryLock(0, m_port); });
}

/// One row: after which write another's record appears where (or what is there goes), and what is deleted then.
struct SOvertaken
{
    std::string m_after;
    std::string m_object;
    bool m_goes;
    std::vector<std::pair<std::string, int>> m_versioned;
    std::vector<std::pair<std::string, int>> m_unversioned;
};

SOvertaken const Overtaken[] = {
    {"declare", "try", false, {{"declare", 1}}, {}},
    {"try", "declare", false, {{"try", 2}, {"declare", 1}}, {{"try", 0}}},
    {"try", "declare", true, {{"try", 2}, {"declare", 1}}, {{"try", 0}}},
    {"try", "try", false, {{"try", 2}, {"declare", 1}}, {{"declare", 0}}},
    {"try", "try", true, {{"try", 2}, {"declare", 1}}, {{"declare", 0}}},
    {"try", "lock", false, {{"try", 2}, {"declare", 1}}, {}},
};

TEST_P(OptimisticLock, TakesBackWhatItMayWhenItIsOvertaken)
{
    for (SOvertaken const& row : Overtaken)
    {
        CLockFixture one(GetParam());
        auto const overtake = [&](std::string const& call)
        {
            if (call != "UploadFileAsync(f/" + row.m_after + ")")
            {
                return;
            }
            row.m_goes ? one.m_client.DeleteFileAsync("f/" + row.m_object)->Wait()
                       : one.m_store->Put("f/" + row.m_object, one.Other(100));
            one.m_store->ClearCalls();
        };
        one.m_store->SetHooks({{}, overtake});
        EXPECT_FALSE(one.MakeLock().TryLock(1, one.m_port));
        std::vector<std::string> deleted = one.m_store->Calls();
        std::erase_if(deleted, [](std::string const& call) { return !call.starts_with("Delete"); });
        std::vector<std::string> expected;
        for (auto const& [name, version] : GetParam() ? row.m_versioned : row.m_unversioned)
        {
            expected.push_back(Delete(name, version));
        }
        EXPECT_EQ(deleted, expected) << row.m_after << " " << row.m_object << " " << row.m_goes;
        EXPECT_EQ(one.m_log.Count(ELevel::Warning, "Can't get lock: Timed out waiting for cloud lock to acquire."), 1U);
    }
}

TEST_P(OptimisticLock, GetsOverEachFailingCallOnceTheValidityHasPassed)
{
    for (bool const workIsDone : {false, true})
    {
        for (unsigned failing = 1;; ++failing)
        {
            CLockFixture one(GetParam());
            std::atomic<unsigned> calls = 0;
            std::atomic<bool> armed = true;
            auto const fail = [&](std::string const& call)
            {
                if (armed && ++calls == failing)
                {
                    throw CObjectStorageException(CRuntimeExc(call), 503);
                }
            };
            one.m_store->SetHooks(workIsDone ? CMemoryStore::SHooks{{}, fail} : CMemoryStore::SHooks{fail, {}});
            try
            {
                CCloudOptimisticLock lock = one.MakeLock();
                lock.Lock(1, one.m_port);
                one.LetKeepAlivePass();
                lock.Unlock();
            }
            catch (CObjectStorageException const& error)
            {
                EXPECT_EQ(error.m_statusCode, 503);
            }
            armed = false;
            EXPECT_TRUE(one.AnotherGetsInLater()) << "call " << failing << " after the work " << workIsDone;
            if (calls < failing)
            {
                EXPECT_GE(failing, workIsDone ? 10U : 14U) << "a missing object is no work done";
                break;
            }
        }
    }
}

TEST_P(OptimisticLock, CanBeCancelledBeforeEachSliceOfEachWait)
{
    m_store->Put("f/lock", Other(1000));
    for (std::size_t slice = 1; slice < 12; ++slice)
    {
        CCloudOptimisticLock lock = MakeLock();
        synch::completion_port_t port;
        std::size_t const before = Sleeps().size();
        m_onSleep = [&](std::size_t count)
        {
            if (count == before + slice)
            {
                port.PostError(CObjectStorageException(CRuntimeExc("cancelled"), 499));
            }
        };
        ExpectStorageFailure(499, "cancelled", [&] { lock.Lock(0, port); });
        EXPECT_EQ(Sleeps().size(), before + slice);
        EXPECT_THAT(Sleeps(), Each(Le(2000)));
    }
    m_onSleep = [](std::size_t) { ADD_FAILURE(); };
    m_params.m_sleepEnabled = false;
    m_timing.m_elapsedMsec = [n = 0UL]() mutable { return n++; };
    m_port.PostError(CRuntimeExc("not looked at"));
    EXPECT_FALSE(MakeLock().TryLock(5, m_port));
}

TEST_P(OptimisticLock, KeepsAThreadThatDoesNotEndInTime)
{
    posix::posix_manual_reset_event_t mayEnd(false);
    m_timing.m_joinLimitMsec = 1;
    m_timing.m_waitForStop = [&](posix::posix_manual_reset_event_t&, int) { return mayEnd.Wait(-1); };
    {
        CCloudOptimisticLock lock = MakeLock();
        lock.Lock(0, m_port);
        ExpectFailure<CRuntimeExc>(HasSubstr("has not ended"), [&] { lock.Unlock(); });
        EXPECT_FALSE(lock.TryLock(1, m_port));
        logging::SetSink(
            [&](ELevel, std::string const&, std::string const& text)
            { text.find("Failed to release cloud optimistic lock [f].") == 0 ? mayEnd.SetEvent() : void(); });
    }
    EXPECT_TRUE(m_store->Objects().contains("f/lock"));
    EXPECT_TRUE(AnotherGetsInLater());
}

} // namespace

} // namespace bucketry::testing
