#include "model/ForeignText.h"
#include "platform/DiskNames.h"

#include <catch2/catch.hpp>

#include <string>
#include <string_view>

using namespace tessivar;

TEST_CASE ("textOfBytes makes valid text of any bytes", "[model][text]")
{
    using namespace std::string_view_literals;

    struct Case
    {
        std::string_view bytes;
        const char* text;
    };
    const Case cases[]{ { "Gr\xc3\xb6\xc3\x9f"
                          "e"sv,
                          "Größe" },
                        { "Gr\xf6\xdf"
                          "e\0rest"sv,
                          "Größe" },
                        { "\xef\xbb\xbf\xc3\xb6"sv, "ö" },
                        { "\xff\xfe\xf6\0\x3d\xd8\x00\xde!"sv, "ö😀" },
                        { "\xfe\xff\0\xf6\xd8\x3d"sv, "ö\xef\xbf\xbd" },
                        { "5 \x80 \x81"sv, "5 € \xef\xbf\xbd" },
                        { "cut \xe2\x82"sv, "cut â‚" },
                        { "\xf0\x9f\x98\x80"sv, "😀" },
                        { "\xc0\x80"sv, "À€" },
                        { "\xed\xa0\x80"sv, "í\xc2\xa0€" },
                        { "\xf4\x90\x80\x80"sv, "ô\xef\xbf\xbd€€" },
                        { ""sv, "" } };

    for (const auto& [bytes, text] : cases)
    {
        const auto made =
            textOfBytes ({ reinterpret_cast<const std::uint8_t*> (bytes.data()), bytes.size() });
        INFO (text);
        CHECK (made.toStdString() == text);
        CHECK (validText (made) == made);
    }

    CHECK (validText (juce::String (juce::CharPointer_UTF8 ("Gr\xf6"))) == juce::CharPointer_UTF8 ("Grö"));
}

TEST_CASE ("Every name on disk is carried as valid text and comes back as it was", "[model][text]")
{
    const auto check = [] (const std::string& bytes)
    {
        const auto text = pathOfBytes (bytes);
        return bytesOfPath (text) == bytes && validText (text).toStdString() == text.toStdString();
    };

    // What matters in a byte after the first of a character are its limits.
    const std::string later = "a/\x80\x8f\x90\x9f\xa0\xbe\xbf\xc0\xff";
    std::string failing;

    for (int first = 1; first < 256; ++first)
        for (const auto second : later)
            for (const auto third : later)
                for (const auto end : { "", "\x80", ".wav" })
                    if (const auto name = std::string{ static_cast<char> (first), second, third } + end;
                        ! check (name) && failing.empty())
                        failing = name;

    CHECK (failing == "");
    CHECK (shownText (pathOfBytes ("Gr\xf6\xdf ö \x81")) == juce::CharPointer_UTF8 ("Größ ö \xef\xbf\xbd"));
}
