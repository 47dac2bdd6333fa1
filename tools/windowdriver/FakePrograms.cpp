#include "tools/windowdriver/FakePrograms.h"

#include <sys/stat.h>

namespace tessivar::test
{

namespace
{
// Arguments are noted with a bar between them; the paths of an answer are parted as they are asked for.
constexpr auto chooser = R"sh(#!/bin/sh
home=$(dirname "$(dirname "$0")")
line=zenity
separator='|'
for argument in "$@"
do
    line="$line|$argument"
    case "$argument" in --separator=*) separator=${argument#--separator=};; esac
done
printf '%s\n' "$line" >> "$home/chooser.log"
for answer in "$home/answers"/*
do
    [ -e "$answer" ] || break
    first=1
    while IFS= read -r path
    do
        [ $first = 1 ] || printf '%s' "$separator"
        first=0
        printf '%s' "$path"
    done < "$answer"
    printf '\n'
    rm "$answer"
    exit 0
done
exit 1
)sh";

constexpr auto opener = R"sh(#!/bin/sh
home=$(dirname "$(dirname "$0")")
printf '%s\n' "$1" >> "$home/opened.log"
)sh";

void writeProgram (const juce::File& file, const char* text)
{
    file.replaceWithText (text, false, false, "\n");
    ::chmod (file.getFullPathName().toRawUTF8(), 0755);
}
} // namespace

void writeFakePrograms (const juce::File& home)
{
    home.getChildFile ("bin").createDirectory();
    writeProgram (home.getChildFile ("bin/zenity"), chooser);
    writeProgram (home.getChildFile ("bin/xdg-open"), opener);
}

void writeChooserAnswers (const juce::File& home, const std::vector<juce::StringArray>& answers)
{
    const auto folder = home.getChildFile ("answers");
    folder.deleteRecursively();
    folder.createDirectory();
    auto number = 10;

    for (const auto& paths : answers)
        folder.getChildFile (juce::String (number++))
            .replaceWithText (paths.joinIntoString ("\n") + "\n", false, false, "\n");
}

} // namespace tessivar::test
