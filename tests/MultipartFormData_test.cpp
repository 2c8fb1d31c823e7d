#include <httpclient_core/MultipartFormData.hpp>

#include <httpclient_core/HttpRequest.hpp>

#include "support/ExpectThrowMessage.hpp"

#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

using namespace foundation::httpclient_core;

namespace {

std::string readAll(std::istream& in)
{
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A scratch directory of the test's own, removed with everything in it.
class MultipartFormDataFiles : public ::testing::Test {
protected:
    void TearDown() override { std::filesystem::remove_all(directory); }

    std::filesystem::path write(const std::string& name, const std::string& content) const
    {
        std::filesystem::create_directories(directory);
        const auto path = directory / name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }

    const std::filesystem::path directory =
        std::filesystem::temp_directory_path() / ("multipart_test_" + std::to_string(::getpid()));
};

using Form = MultipartFormDataFiles;

} // namespace

TEST_F(Form, RendersPartsInOrderWithBrowserEscapingOfNames)
{
    const auto text = write("a.txt", "hi\r\n--x");
    struct Row {
        const char* label;
        void (*fill)(MultipartFormData&, const std::filesystem::path&);
        std::string body;
    };
    const Row rows[] = {
        {"no parts", [](MultipartFormData&, const std::filesystem::path&) {}, "--xyz--\r\n"},
        {"field", [](MultipartFormData& f, const std::filesystem::path&) { f.addField("name", "John Smith"); },
         "--xyz\r\nContent-Disposition: form-data; name=\"name\"\r\n\r\nJohn Smith\r\n--xyz--\r\n"},
        {"empty field and file",
         [](MultipartFormData& f, const std::filesystem::path& p) {
             f.addField("", "");
             f.addFile("up", p, "text/plain");
         },
         "--xyz\r\nContent-Disposition: form-data; name=\"\"\r\n\r\n\r\n"
         "--xyz\r\nContent-Disposition: form-data; name=\"up\"; filename=\"a.txt\"\r\nContent-Type: text/plain\r\n\r\n"
         "hi\r\n--x\r\n--xyz--\r\n"},
        {"escaped names",
         [](MultipartFormData& f, const std::filesystem::path& p) {
             f.addField("a\"b\r\nc\\d%22", "v");
             f.addFile("f", p, "application/octet-stream", "x\".txt\n");
         },
         "--xyz\r\nContent-Disposition: form-data; name=\"a%22b%0D%0Ac\\d%22\"\r\n\r\nv\r\n"
         "--xyz\r\nContent-Disposition: form-data; name=\"f\"; filename=\"x%22.txt%0A\"\r\n"
         "Content-Type: application/octet-stream\r\n\r\nhi\r\n--x\r\n--xyz--\r\n"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.label);
        MultipartFormData form;
        form.setBoundary("xyz");
        row.fill(form, text);
        EXPECT_EQ(readAll(*form.stream()), row.body);
        EXPECT_EQ(form.contentLength(), row.body.size());
    }
}

TEST_F(Form, StreamsFilesLargerThanABufferAndSeeksAnywhereInTheBody)
{
    std::string big(200 * 1024, '\0');
    for (std::size_t i = 0; i < big.size(); ++i) {
        big[i] = static_cast<char>(i * 7 % 251);
    }
    MultipartFormData form;
    form.setBoundary("b");
    form.addFile("one", write("big.bin", big));
    form.addField("mid", "dle");
    form.addFile("two", write("small.bin", "tail"));
    const auto body = form.stream();
    const auto whole = readAll(*body);
    ASSERT_EQ(whole.size(), form.contentLength());
    EXPECT_NE(whole.find(big), std::string::npos);

    for (const std::size_t position : {std::size_t{0}, std::size_t{150}, whole.size() - 20, whole.size()}) {
        SCOPED_TRACE(position);
        body->clear();
        body->seekg(static_cast<std::streamoff>(position));
        EXPECT_EQ(body->tellg(), static_cast<std::streamoff>(position));
        EXPECT_EQ(readAll(*body), whole.substr(position));
    }
    body->clear();
    EXPECT_FALSE(body->seekg(static_cast<std::streamoff>(whole.size() + 1)));
}

TEST_F(Form, RejectsBadBoundariesTypesAndUnreadableFiles)
{
    MultipartFormData form;
    const std::string boundaries[] = {"", std::string(71, 'a'), "a b", "a;b", "a\"b", "a\r\nb"};
    for (const auto& boundary : boundaries) {
        SCOPED_TRACE(boundary);
        EXPECT_THROW_MSG(form.setBoundary(boundary), std::logic_error, "Invalid multipart boundary <" + boundary + ">");
    }
    form.setBoundary(std::string(65, 'a') + "'+_-.");
    EXPECT_THROW_MSG(form.addFile("f", "x", "text/plain\r\nX: 1"), std::logic_error,
                     "Invalid part content type <text/plain\r\nX: 1>");

    MultipartFormData missing;
    missing.addFile("f", directory / "absent");
    const auto message = "Cannot read file <" + (directory / "absent").string() + ">";
    EXPECT_THROW_MSG(missing.contentLength(), std::runtime_error, message);
    EXPECT_THROW_MSG(missing.stream(), std::runtime_error, message);
    MultipartFormData notRegular;
    notRegular.addFile("f", std::filesystem::temp_directory_path());
    EXPECT_THROW(notRegular.contentLength(), std::runtime_error);
}

TEST_F(Form, PutsTheStreamInTheBadStateWhenAFileChangedSizeSinceTheStreamWasMade)
{
    for (const char* replacement : {"", "longer than before"}) {
        SCOPED_TRACE(replacement);
        MultipartFormData form;
        const auto path = write("changing.txt", "content");
        form.addFile("f", path);
        const auto body = form.stream();
        write("changing.txt", replacement);
        std::string content(1024, '\0');
        body->read(content.data(), static_cast<std::streamsize>(content.size()));
        EXPECT_TRUE(body->bad());
    }
}

TEST_F(Form, AttachesItselfToARequestWithItsTypeAndExactLength)
{
    MultipartFormData form;
    form.addField("a", "1");
    HttpRequest request(HttpMethod::POST, URL{"http://127.0.0.1/"},
                        HttpHeaders({{"Content-Type", "text/plain"}, {"Content-Length", "1"}}));
    form.attachTo(request);
    const auto body = request.getRequestBodyString();
    EXPECT_EQ(request.getHeaderValue("Content-Type"), "multipart/form-data; boundary=" + form.getBoundary());
    EXPECT_EQ(request.getHeaderValue("Content-Length"), std::to_string(body.size()));
    EXPECT_EQ(body.rfind("--" + form.getBoundary() + "--\r\n"), body.size() - form.getBoundary().size() - 6);
}

TEST(MultipartFormData, MakesADifferentValidBoundaryForEveryForm)
{
    std::set<std::string> boundaries;
    for (int i = 0; i < 8; ++i) {
        MultipartFormData form;
        const auto boundary = form.getBoundary();
        EXPECT_EQ(boundary.size(), 40U);
        EXPECT_NO_THROW(form.setBoundary(boundary));
        boundaries.insert(boundary);
    }
    EXPECT_EQ(boundaries.size(), 8U);
}
