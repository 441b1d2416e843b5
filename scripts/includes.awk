# Which way the includes may point; run by scripts/check over all source files.
#
#   awk -f scripts/includes.awk FILE...       paths from the root of the repository

BEGIN {
    # Project headers that the files of a folder may include, as patterns on <...> and "...". A neighbour may be
    # named without its folder.
    neighbour = "^\"[a-z0-9_]+\\.h\"|"
    allowed["include"] = "^<(qip|qbase)/"
    allowed["platform"] = "^<qbase/"
    allowed["base"] = neighbour "^<qbase/|^\"base/"
    split("frame gauss vector masked gauss2", families)
    for (i in families)
        allowed[families[i]] = neighbour "^<(qip|qbase)/|^\"(frame|gauss|" families[i] ")/"
    split("tools examples bench", users)
    for (i in users)
        allowed[users[i]] = neighbour "^<(qip|qbase)/|^\"" users[i] "/"
    allowed["tests"] = "^<(qip|qbase)/|^\"support/"
    checksHidden = "^<(qip|qbase)/|^\"(support|base|frame|gauss|vector|masked|gauss2)/"
    processorLevel = "^<([a-z]+intrin\\.h|cstdint|cstddef|cstring)>"
}

FNR == 1 {
    folder = FILENAME
    sub("/.*", "", folder)
    known[FILENAME] = 1
}

/^[ \t]*#[ \t]*include/ {
    name = $0
    sub("^[ \t]*#[ \t]*include[ \t]*", "", name)
    sub("[ \t]*(//|/\\*).*", "", name)
    isOurs = name ~ /^"/ || name ~ /^<(qip|qbase)\//
    pattern = FILENAME ~ /^tests\/(check_|support\/)/ ? checksHidden : allowed[folder]
    if (isOurs && name !~ pattern)
        report("may not include " name)
    if (!isOurs && FILENAME ~ /_(sse41|avx2)\.cpp$/ && name !~ processorLevel)
        report("is compiled for a processor level and may not include " name)
    if (isOurs)
        edges[FILENAME] = edges[FILENAME] " " resolve(name)
}

END {
    for (file in known)
        walk(file)
    exit failed
}

function report(text)
{
    print FILENAME ":" FNR ": " text
    failed = 1
}

# The file that an include means: a path from one of the roots, or a neighbour.
function resolve(name,    path)
{
    path = substr(name, 2, length(name) - 2)
    if (path ~ /^qip\//)
        return "include/" path
    if (path ~ /^qbase\//)
        return "platform/" path
    if (path ~ /^support\//)
        return "tests/" path
    return path ~ /\// ? path : folder "/" path
}

# Looks for a way back to a file that is being walked.
function walk(file,    list, count, i)
{
    if (state[file] == "done")
        return
    if (state[file] == "walking") {
        print file ": includes itself through others"
        failed = 1
        return
    }
    state[file] = "walking"
    count = split(edges[file], list)
    for (i = 1; i <= count; i++)
        walk(list[i])
    state[file] = "done"
}
