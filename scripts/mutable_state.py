"""Finds variables of a C++ file that outlive the routine that uses them and can be written to: variables outside
any routine, static members, static and thread_local variables inside routines. Constants and functions pass."""

import re

ignored = re.compile(
    r"^(?:__extension__\s+)?(?:using|typedef|friend|static_assert|namespace|concept|return|requires|template(?!\s*<)|extern\s+template)\b")
forward = re.compile(r"^(?:class|struct|union|enum(?:\s+(?:class|struct))?)\s+[\w:]+(?:\s*:\s*[\w:]+)?$")
record_head = re.compile(r"^(?:(?:static|inline|const|constexpr|thread_local|typedef)\s+)*(?:class|struct|union|enum)\b")
specifier = re.compile(r"\b(?:static|thread_local)\b")
builtin = r"(?:void|bool|char|wchar_t|short|int|long|float|double|signed|unsigned|auto|size_t|ptrdiff_t|u?int\d+_t)"
# An argument that can only be a parameter: a type, or a type and a name.
parameter = re.compile(rf"^(?!new\b|sizeof\b)(?:const\b|volatile\b|struct\b|typename\b|{builtin}\b|std::|[A-Z]\w*|\.\.\.|[\w:]+\s*[*&]|[\w:]+\s+[*&]*\w)")


def without_text(code):
    """Comments, literals and preprocessor lines blanked; lines kept."""
    pattern = re.compile(
        r'//[^\n]*|/\*.*?\*/|(?:u8|[uUL])?R"(\w*)\(.*?\)\1"|"(?:[^"\\\n]|\\.)*"|(?<![0-9a-fA-F])\'(?:[^\'\\\n]|\\.)*\'', re.S)

    def keep(match):
        found = match.group()
        lines = "\n" * found.count("\n")
        return (" " if found.startswith(("//", "/*")) else '""' if '"' in found[:4] else "0") + lines

    code = pattern.sub(keep, code)
    return re.sub(r"^[ \t]*#(?:[^\n]*\\\n)*[^\n]*", lambda m: "\n" * m.group().count("\n"), code, flags=re.M)


def without_groups(text, pairs="()[]{}<>"):
    """The text with what stands in brackets taken out, brackets kept."""
    text = text.replace("->", "  ").replace("<=", "  ").replace(">=", "  ").replace("<<", "  ")
    opening = dict(zip(pairs[::2], pairs[1::2]))
    closers, kept = [], []
    for c in text:
        if closers and c == closers[-1]:
            closers.pop()
        if not closers:
            kept.append(c)
        if c in opening:
            closers.append(opening[c])
    return "".join(kept)


def without_prefix(text):
    """The text without labels, attributes and template heads."""
    text = re.sub(r"\[\[.*?\]\]", " ", text, flags=re.S)
    text = re.sub(r"\b(?:alignas|decltype|noexcept|explicit)\s*\([^()]*\)", " auto ", text)
    text = " ".join(text.split())
    while True:
        shorter = re.sub(r'^(?:(?:public|private|protected|default|case [^:]*)\s*:(?!:)|extern ""|inline\b(?=\s+namespace))\s*', "", text)
        head = re.match(r"^template\s*<", shorter)
        if head:
            depth, k = 1, head.end()
            while k < len(shorter) and depth:
                depth += {"<": 1, ">": -1}.get(shorter[k], 0)
                k += 1
            shorter = re.sub(r"^\s*requires\s*\([^()]*\)", "", shorter[k:]).strip()
        if shorter == text:
            return text
        text = shorter


def is_function(text):
    """Whether a declaration without initializer declares a function."""
    if re.search(r"\boperator\b", text) or "->" in text:
        return True
    plain = without_groups(text)
    place = plain.find("(")
    if place < 0:
        return False
    declarator = text
    angle = 0
    for k, c in enumerate(declarator):
        angle += {"<": 1, ">": -1}.get(c, 0)
        if c == "(" and angle == 0:
            break
    rest = declarator[k + 1 :]
    if re.match(r"\s*(?:[\w:]+::)?[*&]", rest):
        return False
    depth, end = 1, 0
    while end < len(rest) and depth:
        depth += {"(": 1, ")": -1}.get(rest[end], 0)
        end += 1
    arguments = rest[: end - 1].strip()
    if arguments in ("", "void"):
        return True
    return bool(parameter.match(arguments))


def is_mutable_variable(text):
    """Whether a declaration (without its semicolon) makes a variable that can be written to."""
    text = without_prefix(text)
    if not text or ignored.match(text) or forward.match(text):
        return False
    if re.search(r"\b(?:constexpr|consteval)\b", without_groups(text).split("=")[0]):
        return False
    record = record_head.match(text)
    if record and re.match(r"[^={}]*\{\}$", text):
        return False
    pieces = without_groups(text)
    equals = re.search(r"(?<![=!<>])=(?!=)", pieces)
    head = pieces[: equals.start()] if equals else pieces
    if not equals and "(" in head and is_function(text):
        return False
    if equals and re.search(r"\boperator\b", head):
        return False
    # `= 0`, `= default`, `= delete` behind a parameter list.
    if equals and re.search(r"\)[\s\w&]*$", head) and re.match(r"=\s*(?:0|default|delete)\s*$", pieces[equals.start() :]):
        return False
    if not re.search(r"[\w>\]})]\s*$", head) or not re.search(r"\w\W+\w", text):
        return False
    base_is_const = None
    for k, declarator in enumerate(pieces.split(",")):
        declarator = re.split(r"(?<![=!<>])=(?!=)", declarator)[0]
        star = declarator.rfind("*")
        before = declarator if star < 0 else declarator[: declarator.find("*")]
        if k == 0:
            base_is_const = bool(re.search(r"\bconst\b", before))
        if not (re.search(r"\bconst\b", declarator[star:]) if star >= 0 else base_is_const):
            return True
    return False


def mutable_variables(code):
    """(line, text) of every variable of a file that is state without an owner."""
    code = without_text(code)
    found, scopes = [], ["namespace"]
    heads = []
    text, line, first_line, depth = "", 1, 1, 0

    def judge():
        declaration = text
        if scopes[-1] != "namespace":
            here = specifier.search(declaration)
            if not here or (scopes[-1] == "body" and "(" in without_groups(declaration[: here.start()]).rsplit(")", 1)[-1]):
                return
            before = re.search(r"(?:\b(?:inline|const|constexpr|constinit|thread_local)\s+)*$", declaration[: here.start()])
            declaration = declaration[before.start() :]
        if is_mutable_variable(declaration):
            found.append((first_line, " ".join(declaration.split())))

    for c in code:
        if c == "\n":
            line += 1
        if not text.strip():
            first_line = line
        if c in "([":
            depth += 1
        elif c in ")]":
            depth -= 1
        if c == "{":
            head = without_prefix(text)
            plain = without_groups(head)
            assigned = re.search(r"(?<![=!<>])=(?!=)", plain) and not re.search(r"\boperator\b", plain)
            if re.match(r"^(?:inline\s+)?namespace\b", head) or (text.strip() and not head and 'extern ""' in text):
                kind, goes_on = "namespace", False
            elif record_head.match(head) and "(" not in plain and not assigned:
                kind, goes_on = "record", True
            elif depth > 0 or assigned:
                kind, goes_on = "body", True
            elif re.match(r"^[,:](?!:)", head) or re.search(r"\)[^(]*[^:]:(?!:)", plain):
                # One of a constructor's initializers, or its body.
                kind, goes_on = "body", not plain.rstrip().endswith((")", "}"))
            else:
                kind, goes_on = "body", "(" not in plain or re.search(r"\(\)?\s*$", plain) is None and re.match(r".*\(\s*[*&]", head) is not None
                if scopes[-1] == "body" and re.match(r"^(?:else|do|try)?$", head):
                    goes_on = False
            heads.append((text, depth, goes_on, first_line))
            scopes.append(kind)
            text, depth = "", 0
        elif c == "}":
            if len(scopes) > 1:
                scopes.pop()
                text, depth, goes_on, first_line = heads.pop()
                text = text + "{}" if goes_on else ""
        elif c == ";" and depth <= 0:
            judge()
            text = ""
        else:
            text += c
    return found


refused = """
int count;
int count = 0;
static int count{3};
thread_local double last = 0.0;
inline std::string name;
std::map<int, std::string> names;
static std::map<int, std::vector<int>> names = {{1, {2}}};
std::function<void()> action;
Record record;
Record record{1, 2};
tarn::Record record = make(1);
std::unique_ptr<Record> owned(new Record);
Record record(3);
std::string name("text");
int numbers[3];
int numbers[2][3] = {{1, 2, 3}, {4, 5, 6}};
std::array<int, 3> numbers{};
const char* name = "text";
static const char* names[] = {"a", "b"};
const int *one, two = 2;
const int one = 1, *two = nullptr;
int (*routine)(int) = nullptr;
int (*routine)(int);
void (Record::*member)(int) = nullptr;
volatile int flag;
constinit int count = 0;
alignas(64) int count = 0;
[[maybe_unused]] int count = 0;
template <class T> T common;
template <class T> inline int counted = 0;
struct { int a; } nameless;
struct Named { int a; } named = {1};
extern int elsewhere;
auto action = [](int x) { return x; };
auto [one, two] = pair;
int& alias = other;
unsigned long long mask = 1ULL << 3;
std::once_flag once;
std::atomic<int> calls{0};
namespace a { int inner; }
namespace a::b { namespace { std::vector<int> inner; } }
extern "C" { int inner; }
struct Record { static int shared; };
class Record { public: inline static std::string shared = "x"; };
struct Record { static inline std::vector<int> shared{1, 2}; int own = 0; };
template <class T> struct Record { static thread_local T shared; };
void f() { static int calls = 0; }
void f() { static std::map<int, int> seen; ++seen[1]; }
void f() { if (true) { static int calls; } }
void f() { for (;;) static int calls = 0; }
int f(int x) { switch (x) { case 1: static int calls = 0; } return x; }
void f() { thread_local std::vector<int> work; }
void f() { static const char* last = nullptr; }
void f() { const auto g = [] { static int calls = 0; return ++calls; }; }
auto f() -> int { static int calls(0); return calls; }
struct Record { int f() { static int calls = 0; return calls; } };
Record::Record(int x) : a_{x}, b_(2) { static int calls = 0; }
void f() { std::for_each(a, b, [](int) { static int calls = 0; }); }
"""

passed = """
const int count = 0;
constexpr int count = 0;
static constexpr std::array<int, 3> numbers{1, 2, 3};
inline constexpr double small = 1e-10, large = 1e10;
constinit const int count = 0;
const char* const name = "text";
constexpr const char* name = "text";
static const char* const names[] = {"a", "b"};
int const* const one = nullptr;
const std::vector<int> numbers = {1, 2};
const std::map<int, std::string> names{{1, "a"}};
const Record& alias = other;
template <class T> constexpr int size = 3;
constexpr auto square = [](double x) { return x * x; };
int f();
int f(int, double);
static double f(const Record& record);
std::vector<int> f(std::vector<int> x, int y = 3);
Record f(Record, Other other);
void f(std::span<const double>);
[[noreturn]] void f(Job& job, const char* text = nullptr);
template <class T> T f(T x);
template <class T> requires(sizeof(T) > 3) T f(T x) { return x; }
template void f<double>(double);
template class Array<int, 3>;
extern template class Array<int, 2>;
auto f(int x) -> int;
bool operator==(const Record& a, const Record& b);
Record& Record::operator=(Record&& other) noexcept { return *this; }
Record::Record(int x) : a_{x}, b_{2} {}
Record::Record(int x) noexcept : a_(x) { b_ = 2; }
Record::~Record() = default;
using Name = std::vector<int>;
using namespace std;
typedef int Number;
namespace a = b::c;
class Later;
enum class Code : int;
enum class Code { one, two = 2 };
struct Record { int count = 0; std::string name; static int f(); static constexpr int most = 3; };
struct Record { static Record of(int x) { return Record{x}; } const char* name = nullptr; };
struct Record { explicit Record(int x) : a(x) {} virtual int f() = 0; Record(const Record&) = delete; int a; };
class Record { friend class Other; mutable int seen = 0; };
static_assert(sizeof(int) == 4);
void f() { int calls = 0; std::vector<int> work; ++calls; }
void f() { static const std::vector<int> table = make(); }
void f() { static constexpr std::array<int, 2> table{1, 2}; }
void f() { static constexpr auto square = [](int x) { return x * x; }; }
void f() { static const auto table = [] { std::vector<int> t; t.push_back(1); return t; }(); }
void f() { const int a = static_cast<int>(3.0); static_assert(true); }
extern "C" void f(int* n);
extern "C" { void f(int* n); double g(const double* x); }
template <class T> concept Number = requires(T x) { x + 1; };
#define COUNTED static int count = 0;
// static int count = 0;
const char* const text = "static int count = 0;";
Array(int) -> Array<int>;
"""


def self_test():
    """Faults of this file: lines that must be refused and are not, or the reverse."""
    faults = [f"passes, must not: {line}" for line in refused.strip().split("\n") if not mutable_variables(line)]
    faults += [f"refused, must not be: {line}" for line in passed.strip().split("\n") if mutable_variables(line)]
    return faults
