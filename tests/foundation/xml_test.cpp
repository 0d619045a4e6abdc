// libxml2 as the log reader uses it: a file opened by the C runtime with a deny-all share mode and
// read through xmlReaderForFd.
#include <windows.h>

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>

#include <libxml/xmlreader.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <vector>

namespace {

std::string tempFile(const char* name)
{
    char dir[MAX_PATH];
    DWORD n = GetTempPathA(MAX_PATH, dir);
    return std::string(dir, n) + name + "-" + std::to_string(GetCurrentProcessId()) + ".xml";
}

struct Node {
    int depth;
    int type;
    std::string name;
    std::string value;
    bool operator==(const Node&) const = default;
};

std::ostream& operator<<(std::ostream& os, const Node& n)
{
    return os << "{" << n.depth << ", " << n.type << ", " << n.name << ", \"" << n.value << "\"}";
}

std::string text(const xmlChar* s)
{
    return s ? reinterpret_cast<const char*>(s) : "";
}

} // namespace

TEST(LibXml, ReadsADeniedForOthersFileThroughItsDescriptor)
{
    const std::string path = tempFile("tarv-xml-smoke");
    {
        FILE* f = std::fopen(path.c_str(), "w");
        ASSERT_NE(f, nullptr);
        std::fputs("<?xml version=\"1.0\"?>\n<log version=\"1\">\n  <func name=\"GetProp\" direc=\"in\">\n"
                   "    <info>a &amp; b</info>\n  </func>\n  <empty/>\n</log>\n", f);
        std::fclose(f);
    }

    int fd = -1;
    ASSERT_EQ(_sopen_s(&fd, path.c_str(), _O_RDONLY | _O_TEXT, _SH_DENYRW, _S_IREAD), 0);
    int second = -1;
    EXPECT_EQ(_sopen_s(&second, path.c_str(), _O_RDONLY | _O_TEXT, _SH_DENYNO, _S_IREAD), EACCES)
        << "a second open must be refused while the reader holds the file";

    xmlTextReaderPtr reader = xmlReaderForFd(fd, path.c_str(), nullptr,
                                             XML_PARSE_RECOVER | XML_PARSE_NOBLANKS | XML_PARSE_NONET);
    ASSERT_NE(reader, nullptr);
    std::vector<Node> nodes;
    int rc;
    while ((rc = xmlTextReaderRead(reader)) == 1) {
        Node n{xmlTextReaderDepth(reader), xmlTextReaderNodeType(reader), text(xmlTextReaderConstName(reader)),
               text(xmlTextReaderConstValue(reader))};
        if (n.type == XML_READER_TYPE_ELEMENT && xmlTextReaderHasAttributes(reader))
            for (int more = xmlTextReaderMoveToFirstAttribute(reader); more == 1;
                 more = xmlTextReaderMoveToNextAttribute(reader))
                n.value += text(xmlTextReaderConstName(reader)) + "=" + text(xmlTextReaderConstValue(reader)) + ";";
        xmlTextReaderMoveToElement(reader);
        nodes.push_back(n);
    }
    EXPECT_EQ(rc, 0);
    xmlFreeTextReader(reader);

    const std::vector<Node> expected{
        {0, XML_READER_TYPE_ELEMENT, "log", "version=1;"},
        {1, XML_READER_TYPE_ELEMENT, "func", "name=GetProp;direc=in;"},
        {2, XML_READER_TYPE_ELEMENT, "info", ""},
        {3, XML_READER_TYPE_TEXT, "#text", "a & b"},
        {2, XML_READER_TYPE_END_ELEMENT, "info", ""},
        {1, XML_READER_TYPE_END_ELEMENT, "func", ""},
        {1, XML_READER_TYPE_ELEMENT, "empty", ""},
        {0, XML_READER_TYPE_END_ELEMENT, "log", ""},
    };
    EXPECT_EQ(nodes, expected);

    // The reader leaves the descriptor open; once it is closed, others may open the file again.
    EXPECT_EQ(_close(fd), 0);
    EXPECT_EQ(_sopen_s(&second, path.c_str(), _O_RDONLY, _SH_DENYNO, _S_IREAD), 0);
    _close(second);
    EXPECT_EQ(std::remove(path.c_str()), 0);
}
