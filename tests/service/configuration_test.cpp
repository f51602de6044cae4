#include "service/configuration.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "tests/service/temporary_folder.h"
#include "tests/support/case_name.h"

namespace zrtmon::service {
namespace {

TEST(Configuration, ReadsPrintersInTheOrderOfTheirFiles)
{
    const CTemporaryFolder folder;
    folder.Write("zrtmond.conf", "# nothing else\r\n keep-days = 7 \nmetrics=/run/zrtmon.prom\n");
    folder.Write("printers.d/20.conf", "name=Büro\nport = sim:cards=3\n");
    folder.Write("printers.d/10.conf",
                 "\n  # the first\nport=usb:\nname = Two words\npolicy = rules/p.xml\n");
    folder.Write("printers.d/30.conf.bak", "this is not read");
    const std::filesystem::path policy = folder.Write("rules/p.xml", "<x/>");

    const CConfiguration configuration = LoadConfiguration(folder.Path());
    EXPECT_EQ(std::vector<std::string>(), configuration.problems);
    EXPECT_EQ(7u, configuration.keepDays);
    EXPECT_EQ("/run/zrtmon.prom", configuration.metricsFile);
    const std::vector<CPrinterConfiguration> printers = {{"Two words", "usb:", policy},
                                                         {"Büro", "sim:cards=3", ""}};
    EXPECT_EQ(printers, configuration.printers);
}

TEST(Configuration, OfNothingHasNoPrinterAndNoProblem)
{
    const CTemporaryFolder folder;
    const CConfiguration configuration = LoadConfiguration(folder.Path() / "missing");
    EXPECT_TRUE(configuration.problems.empty());
    EXPECT_TRUE(configuration.printers.empty());
    EXPECT_EQ(90u, configuration.keepDays);
}

struct BadLine {
    const char* name;
    const char* file;
    std::string text;
    const char* problem; ///< what one of the messages begins with, after the folder's name
};

class BadConfiguration : public testing::TestWithParam<BadLine> {};

TEST_P(BadConfiguration, IsNamedByFileAndLineAndStopsNoOtherPrinter)
{
    const CTemporaryFolder folder;
    folder.Write("printers.d/00.conf", "name=Good\nport=tcp:192.0.2.1\n");
    folder.Write(GetParam().file, GetParam().text);
    const CConfiguration configuration = LoadConfiguration(folder.Path());
    ASSERT_EQ(1u, configuration.problems.size());
    const std::string wanted = (folder.Path() / GetParam().problem).string();
    EXPECT_EQ(wanted, configuration.problems[0].substr(0, wanted.size())) << configuration.problems[0];
    ASSERT_EQ(1u, configuration.printers.size());
    EXPECT_EQ("Good", configuration.printers[0].name);
}

constexpr char kFile[] = "printers.d/a.conf";
const std::string kName = "name=A\n";

INSTANTIATE_TEST_SUITE_P(
    Lines, BadConfiguration,
    testing::Values(
        BadLine{"NoSign", kFile, kName + "port=usb:\nrubbish\n", "printers.d/a.conf:3: no '='"},
        BadLine{"UnknownKey", kFile, kName + "port=usb:\npoort=usb:\n",
                "printers.d/a.conf:3: no key \"poort\""},
        BadLine{"Twice", kFile, kName + "port=usb:\nname=B\n",
                "printers.d/a.conf:3: \"name\" for the second time"},
        BadLine{"NoPort", kFile, kName, "printers.d/a.conf: no \"port\""},
        BadLine{"NoName", kFile, "port=usb:\n", "printers.d/a.conf: no \"name\""},
        BadLine{"EmptyName", kFile, "port=usb:\nname=\n", "printers.d/a.conf:2: name: it is empty"},
        BadLine{"Slash", kFile, "name=a/b\nport=usb:\n", "printers.d/a.conf:1: name: '/'"},
        BadLine{"Control", kFile, "name=a\x01g\nport=usb:\n", "printers.d/a.conf:1: name: '/' and control"},
        BadLine{"NotUtf8", kFile, "name=\xFC\nport=usb:\n", "printers.d/a.conf:1: name: not UTF-8"},
        BadLine{"LongName", kFile, "name=" + std::string(128, 'n') + "\nport=usb:\n",
                "printers.d/a.conf:1: name: longer than 127"},
        BadLine{"BadPort", kFile, kName + "port=usb:serial\n", "printers.d/a.conf:2: port: "},
        BadLine{"SameName", kFile, "name=gOOD\nport=usb:\n", "printers.d/a.conf:1: name: another printer"},
        BadLine{"SamePort", kFile, kName + "port=TCP:192.0.2.1\n",
                "printers.d/a.conf:2: port: another printer"},
        BadLine{"PolicyOutside", kFile, kName + "port=usb:\npolicy=../p.xml\n",
                "printers.d/a.conf:3: policy: not below"},
        BadLine{"PolicyMissing", kFile, kName + "port=usb:\npolicy=p.xml\n",
                "printers.d/a.conf:3: policy: no file"},
        BadLine{"Huge", kFile, std::string(65 * 1024, '#'),
                "printers.d/a.conf: not a file of at most 64 KiB"},
        BadLine{"KeepDays", "zrtmond.conf", "keep-days=12x\n", "zrtmond.conf:1: keep-days: give a number"},
        BadLine{"KeepNoDays", "zrtmond.conf", "keep-days=0\n", "zrtmond.conf:1: keep-days: give a number"},
        BadLine{"Metrics", "zrtmond.conf", "metrics=here\n",
                "zrtmond.conf:1: metrics: give the absolute path"}),
    test::CaseName());

TEST(Configuration, APolicyMayNotBeALinkToTheOutside)
{
    const CTemporaryFolder folder;
    const CTemporaryFolder other;
    std::filesystem::create_symlink(other.Write("p.xml", "<x/>"), folder.Path() / "p.xml");
    folder.Write("printers.d/a.conf", "name=A\nport=usb:\npolicy=p.xml\n");
    EXPECT_EQ(1u, LoadConfiguration(folder.Path()).problems.size());
}

TEST(Configuration, AFileWithAProblemLeavesItsPrinterInDoubt)
{
    const CTemporaryFolder folder;
    folder.Write("printers.d/a.conf", "name=A\nport=nowhere:\n");
    EXPECT_EQ(std::set<std::string>{"A"}, LoadConfiguration(folder.Path()).doubtfulPrinters);
}

TEST(Configuration, APrinterWhoseFileCannotBeReadAnyMoreIsInDoubt)
{
    const CTemporaryFolder folder;
    folder.Write("printers.d/a.conf", "name=A\nport=usb:\n");
    folder.Write("printers.d/b.conf", "name=B\nport=tcp:192.0.2.1\n");
    CConfiguration configuration = LoadConfiguration(folder.Path());
    ASSERT_EQ(2u, configuration.printers.size());
    folder.Write("printers.d/a.conf", std::string(65 * 1024, '#'));
    folder.Write("printers.d/b.conf", "naem=B\nport=tcp:192.0.2.1\n");
    for (const char* const time : {"first", "second"}) {
        configuration = LoadConfiguration(folder.Path(), configuration);
        EXPECT_EQ((std::set<std::string>{"A", "B"}), configuration.doubtfulPrinters) << time;
    }
    std::filesystem::remove(folder.Path() / "printers.d/b.conf");
    configuration = LoadConfiguration(folder.Path(), configuration);
    EXPECT_EQ(std::set<std::string>{"A"}, configuration.doubtfulPrinters)
        << "a file that is gone is no doubt";
    std::filesystem::remove_all(folder.Path() / "printers.d");
    folder.Write("printers.d", "not a folder");
    configuration = LoadConfiguration(folder.Path(), configuration);
    EXPECT_EQ(1u, configuration.problems.size());
    EXPECT_EQ(std::set<std::string>{"A"}, configuration.doubtfulPrinters);
}

} // namespace
} // namespace zrtmon::service
