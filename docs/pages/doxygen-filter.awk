# Doxygen's view of headers and guides. Lines keep their numbers.

# An operator without a comment of its own has that of its section, the lines under "\name", so it gets an empty one
# here, whose row is not shown. In a section without such lines it gets none, and Doxygen reports it. A defaulted member
# and the one of a hash need no words.
/^ *\/\/\/ \\name / { described = 0; opening = 1 }
opening && /^ *\/\/\/ [^\\]/ { described = 1 }
/^ *\/\/\/ \\\{/ { opening = 0 }
/^ *\/\/\/ \\\}|^};/ { described = 0 }
/^struct std::hash</ { described = 1 }
previous !~ /^ *\/\/\/ / && !/\/\/\/</ {
    if (/= default;/ || (described && /^    [a-zA-Z].* operator[^ ]+\(/)) {
        sub(/^ */, "&/** <span class=\"section\">\\&zwnj;</span> */ ")
    }
}
{ previous = /\/\/\/ \\[{}]/ ? "" : $0 }

# Headings get names that stay when sections come and go, so that links to them do: that of the page, and the words.
FNR == 1 && FILENAME ~ /\.md$/ {
    page = tolower(FILENAME)
    sub(/\/docs\/readme\.md$/, "/guides.md", page)
    gsub(/^.*\/|\.md$/, "", page)
}
page && /^ *```/ {
    fenced = !fenced
    sub(/```c\+\+$/, "```cpp") # the one name of the language that Doxygen knows
}
page && !fenced && /^##* / {
    label = tolower($0)
    gsub(/`|^#+ /, "", label)
    gsub(/[^a-z0-9]+/, "-", label)
    gsub(/^-|-$/, "", label)
    label = /^# / ? page : page "-" label
    if (labels[label]++) label = label "-" labels[label]
    if (label != "readme") $0 = $0 " {#" label "}"
    titled = FNR
}
page && FNR == titled + 1 && label == page { $0 = "[TOC]" }

# Doxygen does not leave all spans of code alone. It takes the "::" at the start of an IPv6 address for a name's, "$(name)"
# for a variable of the environment, "%" for its own mark and a "'" for the end of the span, and shows the backslash
# before a "|" in a table. A span may go on in the next line.
fenced || /^ *```/ { print; next }
/^[ \/]*$/ { inside = 0 }
{
    text = ""
    if (inside && match($0, /`/)) {
        text = substr($0, 1, RSTART)
        $0 = substr($0, RSTART + 1)
        inside = 0
    }
    while (!inside && match($0, /`[^`]*`/)) {
        before = substr($0, 1, RSTART - 1)
        span = substr($0, RSTART + 1, RLENGTH - 2)
        $0 = substr($0, RSTART + RLENGTH)
        if (span ~ /^::[a-f]|\\\||\$\([A-Za-z]+\)|[%']/) {
            gsub(/&/, "\\&amp;", span)
            gsub(/</, "\\&lt;", span)
            gsub(/[%*@_]|--/, "\\\\&", span)
            sub(/^::/, "\\::", span)
            gsub(/\$\([A-Za-z]+\)/, "\\\\&", span)
            text = text before "<code>" span "</code>"
        } else {
            text = text before "`" span "`"
        }
    }
    inside = inside || /`/
    print text $0
}
