# Which way the includes may point; run by scripts/check over all source files.
#
#   awk -f scripts/includes.awk FILE...       paths from the root of the repository
#
# Refused: an include that the table below does not allow; a loop of files (a header and its source count as
# one); a loop of folders (kernels/ is a folder of its own); a source in a folder of headers; and in what is
# compiled for a processor level, a header whose functions the linker might merge with another level's.

BEGIN {
    # ---- the table: the project headers that a folder may include, as patterns on <...> and "..." ----

    public = "^<(qip|qbase)/|"
    ground = public of("frame")

    # The headers of a family that its kernels share with it. To every check they are a folder of their own,
    # below both.
    isShared["gauss/box_along.h"]
    isShared["gauss/box_sums.h"]
    isShared["gauss/box_tiles.h"]
    isShared["gauss2/binomial.h"]
    isShared["gauss2/filter.h"]
    shared = "^\"(gauss/box_(along|sums|tiles)|gauss2/(binomial|filter))\\.h\"|"

    allowed["include"] = public
    allowed["platform"] = "^<qbase/|"
    allowed["base"] = "^<qbase/|" of("base")
    allowed["frame"] = ground
    allowed["lanes"] = of("lanes")
    allowed["shared"] = of("lanes") shared
    allowed["gauss"] = ground of("gauss") of("gauss/kernels")
    allowed["unmasked"] = ground of("lanes") of("gauss") of("unmasked") of("unmasked/kernels")
    allowed["masked"] = ground of("gauss") of("masked") of("masked/kernels")
    allowed["gauss2"] = ground of("lanes") of("gauss2") of("gauss2/kernels")
    kernels = of("lanes") "^\"gauss/box_(along|sums|tiles)\\.h\"|"
    allowed["gauss/kernels"] = kernels of("gauss/kernels")
    allowed["unmasked/kernels"] = kernels of("unmasked/kernels")
    allowed["masked/kernels"] = kernels of("masked/kernels")
    allowed["gauss2/kernels"] = kernels "^\"gauss2/(binomial|filter)\\.h\"|" of("gauss2/kernels")
    allowed["tools"] = public of("")
    allowed["examples"] = public
    allowed["python"] = public of("")
    allowed["bench"] = public of("bench")
    allowed["tests"] = public "^\"(support|tools)/|"
    # Support and the programs check_*.cpp look behind the public headers.
    allowed["tests/hidden"] = public "^\"(support|base|frame|lanes|gauss|unmasked|masked|gauss2)/|"
    allowed["tests/fuzz"] = allowed["tests/hidden"] "^\"tools/|" of("")

    # Standard headers that leave no function behind which the linker could merge with another level's.
    harmless = "^<([a-z0-9]+intrin\\.h|arm_neon\\.h|cstdint|cstddef|cstring|type_traits)>"
}

FNR == 1 {
    folder = folderOf(FILENAME)
    if (!(folder in allowed))
        report(FILENAME, 1, "is in a folder that scripts/includes.awk does not know")
    if (folder ~ /^(frame|lanes)$/ && FILENAME !~ /\.h$/)
        report(FILENAME, 1, "is a source; " folder "/ holds headers only")
    if (FILENAME ~ /_(portable|sse41|neon|avx2)\.cpp$/)
        isLevel[FILENAME] = 1
    files[FILENAME] = 1
}

/^[ \t]*#[ \t]*include/ {
    name = $0
    sub(/^[ \t]*#[ \t]*include[ \t]*/, "", name)
    sub(/[ \t]*(\/\/|\/\*).*/, "", name)
    if (name !~ /^"/ && name !~ /^<(qip|qbase)\//) {
        if (name !~ harmless)
            merged[FILENAME] = merged[FILENAME] " " name
        next
    }
    if (!matches(name, allowed[folder]))
        report(FILENAME, FNR, "may not include " name)
    target = resolve(name)
    includes[FILENAME] = includes[FILENAME] " " target
    addEdge("file", stem(FILENAME), stem(target))
    addEdge("folder", folder, folderOf(target))
}

END {
    for (file in files) {
        walk("file", stem(file), "")
        walk("folder", folderOf(file), "")
    }
    for (file in isLevel)
        refuseMerged(file, file)
    exit failed
}

function report(file, line, text)
{
    print file ":" line ": " text
    failed = 1
}

# ---- patterns and paths ----

# The headers of a folder; of the file's own folder, named without it, for "".
function of(path)
{
    return "^\"" (path == "" ? "" : path "/") "[a-z0-9_]+\\.h\"|"
}

function matches(name, pattern)
{
    sub(/\|$/, "", pattern)
    return name ~ pattern
}

function folderOf(path)
{
    if (path in isShared)
        return "shared"
    if (path ~ /^tests\/(support\/|check_)/)
        return "tests/hidden"
    if (path ~ /^tests\/fuzz\//)
        return "tests/fuzz"
    if (path ~ /^[a-z0-9]+\/kernels\//)
        sub(/\/[^\/]*$/, "", path)
    else
        sub(/\/.*/, "", path)
    return path
}

function stem(path)
{
    sub(/\.[a-z]+$/, "", path)
    return path
}

# The file that an include means: a path from one of the roots, or a neighbour.
function resolve(name,    path, here)
{
    path = substr(name, 2, length(name) - 2)
    if (path ~ /^qip\//)
        return "include/" path
    if (path ~ /^qbase\//)
        return "platform/" path
    if (path ~ /^support\//)
        return "tests/" path
    here = FILENAME
    sub(/[^\/]*$/, "", here)
    return path ~ /\// ? path : here path
}

# ---- what the table cannot say ----

# One node needs another; kind is "file" or "folder".
function addEdge(kind, from, to)
{
    if (from == to || (kind, from, to) in because)
        return
    because[kind, from, to] = FILENAME
    edges[kind, from] = edges[kind, from] " " to
}

# Looks for a way back to a node that is being walked.
function walk(kind, node, way,    list, count, i)
{
    if (state[kind, node] == "done")
        return
    if (state[kind, node] == "walking") {
        sub("^(.* )?" node " -> ", node " -> ", way)
        print "loop of " kind "s: " way node
        count = split(way node, list, / -> /)
        for (i = 1; i < count; i++)
            print "    " because[kind, list[i], list[i + 1]] " needs " list[i + 1]
        failed = 1
        return
    }
    state[kind, node] = "walking"
    count = split(edges[kind, node], list)
    for (i = 1; i <= count; i++)
        walk(kind, list[i], way node " -> ")
    state[kind, node] = "done"
}

# Looks through everything that is compiled into a processor-level file.
function refuseMerged(level, file,    list, count, i)
{
    if (file ~ /^(include|platform)\// || (level, file) in isSeen)
        return
    isSeen[level, file] = 1
    if (file in merged)
        report(file, 1, "is compiled for a processor level (" level ") and may not include" merged[file])
    count = split(includes[file], list)
    for (i = 1; i <= count; i++)
        refuseMerged(level, list[i])
}
