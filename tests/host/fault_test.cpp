// Components that lie, through the real COM runtime: the liar package exported logged, called out
// of process by the test as a simulator would, its lies in results and in the arguments of its
// calls back to the simulator's material. Whatever a lie does to the proxy that reads it, the
// simulator gets an answer, the server lives and ends when released, the next call is logged where
// it belongs, the log stays well formed, and nothing made for a failed call is left holding the
// server. Also: the list of exported packages changing while a record is being resolved.
#include "host/export_fixture.h"

#include "com/variant.h"
#include "kit/classes.h"
#include "simulator/material.h"
#include "support/dialogs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

using namespace tarv;
using testsupport::DialogAnswerer;
using testsupport::ExportTest;
using testsupport::kCapeUnknown;
using testsupport::readLog;
using testsupport::structureProblem;

namespace {

constexpr HRESULT kUnexpected = E_UNEXPECTED;
constexpr HRESULT kInvalidArgument = static_cast<HRESULT>(0x80040506);   // the simulator's material's answer

std::vector<std::string> topLevelRecords(const std::string& log)
{
    std::vector<std::string> records;
    std::istringstream in(log);
    std::string line, current;
    for (bool inside = false; std::getline(in, line);) {
        if (line.rfind("<func ", 0) == 0) inside = true;
        if (inside) current += line + "\n";
        if (line == "</func>") {
            records.push_back(current);
            current.clear();
            inside = false;
        }
    }
    return records;
}

} // namespace

TEST_F(ExportTest, ALyingComponentNeverBreaksTheLogTheServerOrTheNextCall)
{
    struct Row {
        const wchar_t* lie;
        bool inCallback;          // in an argument of the package's call back to the material
        HRESULT result;           // what the simulator's call returns
        const char* inRecord;     // a line of the call's record, at its depth
    };
    const Row rows[] = {
        {kit::kLieNullObjectInArray, false, kUnexpected,
         " <error value=\"Uncaught SEH exception during function call: EXCEPTION_ACCESS_VIOLATION: "},
        {kit::kLieFloatsAsDoubles, false, S_OK, "  <argval value=\"5.26354e-315\"/>"},
        {kit::kLieWideElements, false, S_OK, "  <argval value=\"3\"/>"},
        {kit::kLieShortLengthPrefix, false, S_OK, "  <error value=\"Not a valid BSTR value\"/>"},
        // In the callbacks the material's proxy refuses nothing it can read: what it cannot read
        // ends its own call, which the package passes on.
        {kit::kLieNullObjectInArray, true, kUnexpected,
         "  <error value=\"Uncaught SEH exception during function call: EXCEPTION_ACCESS_VIOLATION: "},
        {kit::kLieBoundsBeyondData, true, kUnexpected,
         "  <error value=\"Uncaught SEH exception during function call: EXCEPTION_ACCESS_VIOLATION: "},
        {kit::kLieUnknownType, true, kInvalidArgument, "  <arg name=\"values\" direc=\"in\" type=\"<unknown>\">"},
        {kit::kLieObjectInNoAccessPage, true, kUnexpected,
         "  <error value=\"Uncaught SEH exception during function call: EXCEPTION_ACCESS_VIOLATION: "},
        {kit::kLieThrowingName, true, kUnexpected,
         "  <error value=\"Uncaught exception during function call: name table corrupt\"/>"},
    };

    addRecord(kit::CLSID_LiarPackage, PropertyPackage11, L"Liar", L"Liar", true);
    {
        auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
        ComPtr<IDispatch> package;
        ASSERT_EQ(manager->GetPropertyPackage(Bstr(L"Liar").get(), package.put()), S_OK);
        manager.reset();
        auto phases = package.query<ICapeThermoPhases>();
        auto routine = package.query<ICapeThermoPropertyRoutine>();
        auto context = package.query<ICapeThermoMaterialContext>();
        ASSERT_TRUE(phases && routine && context);
        ComPtr<sim::Material> material = sim::Material::create({L"n-pentane"}, {L"Vapor"}, L"Feed");
        material->setPresentPhases({L"Vapor"}, {CAPE_UNKNOWNPHASESTATUS});
        ASSERT_EQ(context->SetMaterial(static_cast<ICapeThermoMaterial*>(material.get())), S_OK);
        const LONG baseline = probe(phases.get(), kit::kLieLocks);

        for (const Row& row : rows) {
            SCOPED_TRACE(toNarrow(row.lie) + (row.inCallback ? " (callback)" : ""));
            Variant value;
            HRESULT hr = row.inCallback
                             ? routine->CalcSinglePhaseProp(makeStringArray({L"fugacity"}).get(), Bstr(row.lie).get())
                             : phases->GetPhaseInfo(Bstr(row.lie).get(), Bstr(L"x").get(), value.put());
            EXPECT_EQ(hr, row.result);
            EXPECT_EQ(probe(phases.get(), kit::kLieLocks), baseline) << "the failed call left a proxy holding the server";
        }
        EXPECT_EQ(context->UnsetMaterial(), S_OK);
    }
    ASSERT_TRUE(waitForServerExit()) << "the server outlived its last object";

    const std::string log = readLog(logFiles().back());
    EXPECT_EQ(structureProblem(log), "");
    // Each lie's record holds what the proxy made of it, and ends the way the call did; the
    // record after it (the lock count) is a call of its own at the top level.
    const std::vector<std::string> records = topLevelRecords(log);
    for (const Row& row : rows) {
        SCOPED_TRACE(toNarrow(row.lie) + (row.inCallback ? " (callback)" : ""));
        const std::string label = "&quot;" + toNarrow(row.lie) + "&quot;";
        const std::string method = row.inCallback ? "CalcSinglePhaseProp" : "GetPhaseInfo";
        auto it = std::find_if(records.begin(), records.end(), [&](const std::string& r) {
            return r.find(label) != std::string::npos && r.find(method) != std::string::npos;
        });
        ASSERT_NE(it, records.end());
        EXPECT_NE(it->find(row.inRecord), std::string::npos) << *it;
        EXPECT_EQ(it->find("<error value=\"E_UNEXPECTED") != std::string::npos, row.result == kUnexpected) << *it;
        ASSERT_NE(it + 1, records.end());
        EXPECT_NE((it + 1)->find("&quot;locks&quot;"), std::string::npos);
    }
}

TEST_F(ExportTest, TheListChangingDuringAResolutionRemovesTheRecordThatWasAskedAbout)
{
    // The manager's Initialize puts "Late Arrival" in front of the store and has the server make
    // one of its managers, which reloads the list; then it fails, and the user is asked whether
    // to remove the record that failed.
    addRecord(kit::CLSID_ReloadingManager, PropertyPackageManager11, L"Ideal Alkanes", L"Reloading");
    DialogAnswerer answerer("TARV:", IDYES);
    {
        auto manager = create<ICapeThermoPropertyPackageManager>(CLSID_PropertyPackageManager64);
        ComPtr<IDispatch> package;
        EXPECT_EQ(manager->GetPropertyPackage(Bstr(L"Reloading").get(), package.put()), kCapeUnknown);
        EXPECT_FALSE(package);
        EXPECT_EQ(managerErrors(manager.get()).description,
                  std::wstring(L"property package manager failed to initialize: ") + kit::kReloadingManagerText);
        // Once removed (Yes), the record is gone for this manager too.
        ASSERT_TRUE(answerer.wait());
        EXPECT_EQ(manager->GetPropertyPackage(Bstr(L"Reloading").get(), package.put()), kCapeUnknown);
        EXPECT_EQ(managerErrors(manager.get()).description, L"Package with name \"Reloading\" is not available");
    }
    ASSERT_TRUE(answerer.wait());
    EXPECT_EQ(answerer.seen().front().text, std::string("property package manager failed to initialize: ") +
                                                toNarrow(kit::kReloadingManagerText) +
                                                "\r\nRemove from list of exported property packages?");
    ASSERT_TRUE(waitForServerExit());
    loadPackages();
    EXPECT_EQ(storedNames(), (std::vector<std::wstring>{L"Late Arrival"}));
}
