// tarv_simulator.exe against the kit's containers in process: its flash, its summaries, its failure reports.
#include "support/process.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <sstream>

namespace {

struct ChildRun { DWORD exitCode = 0xFFFFFFFF; std::string out, err; };
ChildRun simulate(const std::wstring& args)
{
    ChildRun r;
    r.exitCode = testsupport::runCaptured(_wgetenv(L"TARV_SIMULATOR"), args, r.out, &r.err);
    return r;
}

// The numbers of the summary row that starts with `label`.
std::vector<double> row(const std::string& text, const std::string& label)
{
    const size_t at = text.find("\n  " + label);
    if (at == std::string::npos) return {};
    std::istringstream cells(text.substr(at + 3 + label.size(), text.find('\n', at + 1) - at - 3 - label.size()));
    std::vector<double> v;
    for (double d; cells >> d;) v.push_back(d);
    return v;
}

const std::wstring kAromatics370 = L"--package \"Ideal Aromatics\" --T 370 --P 101325 --z 0.5,0.3,0.2 --flow 10";

} // namespace

TEST(Simulator, TwoPhaseFlashMatchesHandCalculationAndBalancesAndBothRoadsAgree)
{
    const ChildRun r = simulate(L"--manager TARVKit.PackageManager --inproc " + kAromatics370);
    ASSERT_EQ(r.exitCode, 0u) << r.err;
    EXPECT_NE(r.out.find("Packages:   \"Ideal Alkanes\", \"Ideal Aromatics\""), std::string::npos) << r.out;
    // Worked by hand: vapour fraction 0.175052, vapour and liquid compositions below.
    const std::vector<double> beta = row(r.out, "Phase fraction [mol/mol]");
    ASSERT_EQ(beta.size(), 3u) << r.out;
    EXPECT_NEAR(beta[1], 0.175052, 1e-6);
    EXPECT_NEAR(beta[2], 0.824948, 1e-6);
    const std::vector<double> flows = row(r.out, "Flow [mol/s]");
    ASSERT_EQ(flows.size(), 3u);
    EXPECT_NEAR(flows[1] + flows[2], 10.0, 1e-4);
    const char* names[] = {"Benzene", "Toluene", "o-Xylene"};
    const double y[] = {0.734114, 0.211832, 0.054055}, x[] = {0.450322, 0.318709, 0.230969}, z[] = {0.5, 0.3, 0.2};
    for (int i = 0; i < 3; ++i) {
        const std::vector<double> v = row(r.out, std::string("x ") + names[i]);
        ASSERT_EQ(v.size(), 3u) << names[i];
        EXPECT_NEAR(v[0], z[i], 1e-6);
        EXPECT_NEAR(v[1], y[i], 2e-6);
        EXPECT_NEAR(v[2], x[i], 2e-6);
        EXPECT_NEAR(beta[1] * v[1] + beta[2] * v[2], v[0], 2e-6);   // balanced to the printed precision
    }
    // Ideal gas density at 370 K and 1 atm; the liquid is far denser.
    const std::vector<double> rho = row(r.out, "Density [mol/m3]");
    ASSERT_EQ(rho.size(), 2u);
    EXPECT_NEAR(rho[0], 101325.0 / (8.314462618 * 370.0), 1e-3);
    EXPECT_GT(rho[1], 100 * rho[0]);
    // The 1.0 road prints the same table, less the K-values, a 1.1 two-phase property.
    const ChildRun r10 = simulate(L"--generation 1.0 --manager TARVKit.ThermoSystem10 --inproc " + kAromatics370);
    ASSERT_EQ(r10.exitCode, 0u) << r10.err;
    EXPECT_NE(r10.out.find("CAPE-OPEN 1.0"), std::string::npos) << r10.out;
    auto table = [](const std::string& out) { return out.substr(std::min(out.find("Flash:"), out.size())); };
    EXPECT_EQ(table(r10.out), std::regex_replace(table(r.out), std::regex("  K-value[^\n]*\n"), ""));
}

TEST(Simulator, RunsSummariseTheirFlashAndFailuresNameTheCallTheStatusAndTheDescription)
{
    // The run's arguments, its exit code, and texts in its stdout on success, else in its stderr.
    const struct { std::wstring args; DWORD exitCode; std::vector<std::string> expected; } cases[] = {
        {L"--generation 1.0 --manager TARVKit.ThermoSystem10 --inproc --T 300", 0, {"Flash:      TP, single phase, Liquid"}},
        // Benzene-toluene 50/50 boils at 92 degC.
        {L"--manager TARVKit.PackageManager --inproc --package \"Ideal Aromatics\" --flash PVF --vf 0 --P 101325 --z 0.5,0.5,0",
         0, {"Feed:       T = 365.262 K (found), P = 101325 Pa", "Flash:      PVF, vapour fraction 0, two phases, Vapor + Liquid"}},
        {L"--manager TARVKit.ManagerWithoutUtilities --inproc", 0, {"Flash:      TP, two phases, Vapor + Liquid"}},
        {L"--manager TARVKit.PackageManager --inproc --package Steam", 1,
         {"GetPropertyPackage(\"Steam\") failed: HRESULT 0x80040506 (ECapeInvalidArgument)",
          "There is no property package named \"Steam\""}},
        {L"--manager TARVKit.ManagerFailingInit --inproc", 1,
         {"manager Initialize failed: HRESULT 0x8004050F (ECapeFailedInitialisation)", "The compound data bank could not be opened"}},
        {L"--manager TARVKit.ManagerReturningNull --inproc", 1, {"success, but no package was returned"}},
        {L"--manager TARVKit.PackageManager --inproc --T 2000", 1,
         {"CalcEquilibrium failed: HRESULT 0x80040507 (ECapeOutOfBounds)", "Temperature 2000 K"}},
        {L"--manager TARVKit.PackageManager --inproc --z 1,2", 2, {"--z has 2 values; the package has 3 compounds"}},
        {L"--manager TARVKit.PackageManager", 1, {"REGDB_E_CLASSNOTREG", "--inproc"}},
        {L"--T warm", 2, {"option --T needs a number"}},
    };
    for (const auto& c : cases) {
        const ChildRun r = simulate(c.args);
        EXPECT_EQ(r.exitCode, c.exitCode) << r.err;
        for (const std::string& e : c.expected) EXPECT_NE((c.exitCode ? r.err : r.out).find(e), std::string::npos) << e << "\n" << r.out << r.err;
    }
}
