// SPDX-License-Identifier: Apache-2.0
#include "ctl/output.h"

#include <gtest/gtest.h>
#include <stdlib.h>

namespace
{

constexpr Column kColumns[] = {
    {"name", "NAME", false},
    {"reading", "READING", true},
    {"note", nullptr, false},
    {"health", "HEALTH", false},
};
constexpr SheetForm kForm = {"things", kColumns};

Row MakeRow(const char *name, const char *reading, const char *note, const char *health)
{
    return {TextValue(name), NumberFromText(reading), TextValue(note), TextValue(health)};
}

// What `write` writes.
template <typename Write> std::string Written(OutputFormat format, Write write, bool color = false)
{
    char *text = nullptr;
    size_t size = 0;
    FILE *file = open_memstream(&text, &size);
    Output output(file, format, kForm, 1709189892, color);
    write(&output);
    EXPECT_TRUE(output.End());
    fclose(file);
    std::string written(text, size);
    free(text);
    return written;
}

std::string Two(OutputFormat format)
{
    return Written(format, [](Output *output) {
        output->Add(MakeRow("Inlet Temp", "23", "", "ok"));
        output->Add(MakeRow("a \"b\", c", "N/A", "x", "warning"));
    });
}

std::string None(OutputFormat format)
{
    return Written(format, [](Output *) {});
}

}  // namespace

TEST(Output, Table)
{
    EXPECT_EQ(Two(OutputFormat::Table), "NAME        READING  HEALTH\n"
                                        "Inlet Temp       23  ok\n"
                                        "a \"b\", c          -  warning\n");
    EXPECT_EQ(None(OutputFormat::Table), "");
}

TEST(Output, Json)
{
    EXPECT_EQ(Two(OutputFormat::Json),
              "{\"schema\":1,\"time\":\"2024-02-29T06:58:12Z\",\"things\":[\n"
              "{\"name\":\"Inlet Temp\",\"reading\":23,\"note\":\"\",\"health\":\"ok\"},\n"
              "{\"name\":\"a \\\"b\\\", c\",\"reading\":null,\"note\":\"x\","
              "\"health\":\"warning\"}\n"
              "]}\n");
    EXPECT_EQ(None(OutputFormat::Json),
              "{\"schema\":1,\"time\":\"2024-02-29T06:58:12Z\",\"things\":[]}\n");
}

TEST(Output, JsonLines)
{
    EXPECT_EQ(Two(OutputFormat::JsonLines),
              "{\"schema\":1,\"name\":\"Inlet Temp\",\"reading\":23,\"note\":\"\","
              "\"health\":\"ok\"}\n"
              "{\"schema\":1,\"name\":\"a \\\"b\\\", c\",\"reading\":null,\"note\":\"x\","
              "\"health\":\"warning\"}\n");
    EXPECT_EQ(None(OutputFormat::JsonLines), "");
}

TEST(Output, Csv)
{
    EXPECT_EQ(Two(OutputFormat::Csv), "name,reading,note,health\r\n"
                                      "Inlet Temp,23,,ok\r\n"
                                      "\"a \"\"b\"\", c\",,x,warning\r\n");
    EXPECT_EQ(None(OutputFormat::Csv), "name,reading,note,health\r\n");
}

TEST(Output, DigitsOfANumberStayAsTheyAre)
{
    EXPECT_EQ(JsonRow(kForm, MakeRow("v", "12.10", "", ""), false),
              "{\"name\":\"v\",\"reading\":12.10,\"note\":\"\",\"health\":\"\"}");
}

TEST(Output, TitlesStandBetweenTablesOnly)
{
    const auto write = [](Output *output) {
        output->Title("n1");
        output->Add(MakeRow("a", "1", "", "ok"));
        output->Title("n2");
        output->Add(MakeRow("bcdef", "1", "", "ok"));
    };
    EXPECT_EQ(Written(OutputFormat::Table, write), "n1\n"
                                                   "NAME  READING  HEALTH\n"
                                                   "a           1  ok\n"
                                                   "n2\n"
                                                   "NAME   READING  HEALTH\n"
                                                   "bcdef        1  ok\n");
    EXPECT_EQ(Written(OutputFormat::Csv, write), "name,reading,note,health\r\n"
                                                 "a,1,,ok\r\n"
                                                 "bcdef,1,,ok\r\n");
}

TEST(Output, ColorsMarkTheHealthAlone)
{
    EXPECT_EQ(Written(
                  OutputFormat::Table,
                  [](Output *output) {
                      output->Add(MakeRow("warning", "1", "", "critical"));
                      output->Add(MakeRow("b", "1", "", "warning"));
                      output->Add(MakeRow("c", "1", "", "ok"));
                  },
                  true),
              "NAME     READING  HEALTH\n"
              "warning        1  \x1b[31mcritical\x1b[0m\n"
              "b              1  \x1b[33mwarning \x1b[0m\n"
              "c              1  ok\n");
}

TEST(Output, StreamWritesEachRowAsItComes)
{
    for (const OutputFormat format :
         {OutputFormat::Table, OutputFormat::JsonLines, OutputFormat::Csv}) {
        char *text = nullptr;
        size_t size = 0;
        FILE *file = open_memstream(&text, &size);
        Output output(file, format, kForm, 0, false);
        output.Stream();
        output.Add(MakeRow("a", "1", "", "ok"));
        const size_t first = size;
        EXPECT_GT(first, 0u);
        output.Add(MakeRow("b", "2", "", "ok"));
        EXPECT_GT(size, first);
        const size_t both = size;
        output.End();
        EXPECT_EQ(size, both);  // nothing was held back
        fclose(file);
        free(text);
    }
}

TEST(Output, WidthCountsCharacters)
{
    EXPECT_EQ(ShownWidth("abc"), 3u);
    EXPECT_EQ(ShownWidth("\xc3\xa4\xe2\x82\xac"), 2u);
}

TEST(Output, AFullDiskIsSeen)
{
    FILE *file = fopen("/dev/full", "w");
    ASSERT_NE(file, nullptr);
    Output output(file, OutputFormat::Csv, kForm, 0, false);
    output.Add(MakeRow("a", "1", "", "ok"));
    EXPECT_FALSE(output.End());
    fclose(file);
}

TEST(Output, FormatNames)
{
    OutputFormat format = OutputFormat::Table;
    EXPECT_TRUE(OutputFormatFromName("json", &format));
    EXPECT_EQ(format, OutputFormat::Json);
    EXPECT_TRUE(OutputFormatFromName("jsonl", &format));
    EXPECT_EQ(format, OutputFormat::JsonLines);
    EXPECT_TRUE(OutputFormatFromName("csv", &format));
    EXPECT_EQ(format, OutputFormat::Csv);
    EXPECT_TRUE(OutputFormatFromName("table", &format));
    EXPECT_EQ(format, OutputFormat::Table);
    EXPECT_FALSE(OutputFormatFromName("JSON", &format));
    EXPECT_FALSE(OutputFormatFromName("", &format));
}
