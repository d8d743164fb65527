// Formula files: FORMULA NAME ["description"] [OVERLAY], PARAM lines, the
// text, END. The structure of the whole file is read first, so its errors
// come before any error inside an entry's text.
#include "formula/library.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <functional>
#include <sstream>
#include <unordered_map>

#include "formula/shipped.h"

namespace fenxi {

using formula::Compiled;
using formula::Failure;
using formula::Pos;

struct FormulaLibrary::Impl {
    std::vector<std::shared_ptr<Compiled>> entries;
    std::vector<std::unique_ptr<Formula>> formulas;  // one per entry
    std::unordered_map<std::string, std::size_t> byKey;
    std::size_t shippedCount = 0;  // the first entries are the shipped ones
};

namespace formula {

namespace {

using Lookup = std::function<std::shared_ptr<const Compiled>(const std::string&)>;
// The entries' names, for suggestions: asked for only when a name is unknown.
using EntryNames = std::function<std::vector<std::string>()>;

std::vector<std::string> OperationNames() {
    std::vector<std::string> names;
    for (const OperationSpec& op : Operations()) names.emplace_back(op.name);
    return names;
}

// Resolves every reference of `c`; the first failure in text order.
Failure Resolve(Compiled& c, const Lookup& lookup, const EntryNames& entryNames) {
    c.refs.clear();
    for (const RefUse& use : c.parsed.refs) {
        Resolved r;
        const std::string full = use.name + "." + use.line;
        if (auto entry = lookup(use.key)) {
            const Parsed& p = entry->parsed;
            int statement = -1;
            std::string valid;
            for (int s : p.outputs) {
                const Statement& st = p.statements[static_cast<std::size_t>(s)];
                if (st.key == use.lineKey) statement = s;
                valid += (valid.empty() ? "" : ", ") + st.name;
            }
            if (statement < 0) return {use.pos, use.name + " has no line '" + use.line + "'; its lines are " + valid};
            if (use.args.size() > p.params.size())
                return {use.pos, full + " takes at most " + std::to_string(p.params.size()) + " parameters"};
            r.entry = entry;
            r.line = statement;
        } else if (const OperationSpec* op = FindOperation(use.key); op != nullptr && use.key == UpperKey(op->name)) {
            std::string valid;
            for (int k = 0; k < op->lineCount; ++k) {
                if (UpperKey(op->lines[k].name) == use.lineKey) r.line = k, r.operation = op;
                valid += (valid.empty() ? "" : ", ") + std::string(op->lines[k].name);
            }
            if (r.operation == nullptr) return {use.pos, use.name + " has no line '" + use.line + "'; its lines are " + valid};
            if (use.args.size() > static_cast<std::size_t>(op->paramCount))
                return {use.pos, full + " takes at most " + std::to_string(op->paramCount) + " parameters"};
        } else {
            std::vector<std::string> names = OperationNames();
            const std::vector<std::string> entries = entryNames();
            names.insert(names.end(), entries.begin(), entries.end());
            return {use.pos, "unknown formula or operation '" + use.name + "'" + Suggest(use.key, names)};
        }
        c.refs.push_back(std::move(r));
    }
    return {};
}

bool Before(const Failure& a, const Failure& b) {
    if (!a) return false;
    if (!b) return true;
    return a.pos.offset < b.pos.offset;
}

void Finish(Compiled& c, Failure parseFailure, const Lookup& lookup, const EntryNames& entryNames) {
    Failure bad = parseFailure;
    if (Failure refBad = Resolve(c, lookup, entryNames); Before(refBad, bad)) bad = refBad;
    for (int s : c.parsed.outputs) {
        const Statement& st = c.parsed.statements[static_cast<std::size_t>(s)];
        c.outputs.push_back({st.name, st.attributes});
    }
    if (bad) c.error = MakeError(bad, *c.source);
}

// The lowering with the defaults, which also checks references' parameters.
void LowerDefaults(Compiled& c) {
    if (c.error) return;
    std::vector<double> values;
    for (const FormulaParam& p : c.parsed.params) values.push_back(p.defaultValue);
    if (Failure bad = Lower(c, values, c.defaults)) c.error = MakeError(bad, *c.source);
}

// ---- the file's structure ----

struct Word {
    std::string text;
    Pos pos;
    bool quoted = false;
};

// The words of one line (a quoted word may hold blanks); false with `error`
// for an unclosed quote.
bool Words(std::string_view line, Pos at, std::vector<Word>& out, Failure& error) {
    std::size_t i = 0;
    auto step = [&](std::size_t len) {
        i += len;
        ++at.column;
        at.offset += static_cast<std::uint32_t>(len);
    };
    auto charLen = [&](std::size_t k) -> std::size_t {
        const auto c = static_cast<unsigned char>(line[k]);
        const std::size_t len = c < 0x80 ? 1 : c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
        return std::min(len, line.size() - k);
    };
    auto isBlank = [&](std::size_t k) {
        if (line[k] == ' ' || line[k] == '\t' || line[k] == '\r') return true;
        return line.substr(k, 3) == "\xE3\x80\x80";
    };
    while (i < line.size()) {
        if (isBlank(i)) {
            step(charLen(i));
            continue;
        }
        Word w;
        w.pos = at;
        if (line[i] == '"') {
            w.quoted = true;
            step(1);
            while (i < line.size() && line[i] != '"') {
                const std::size_t len = charLen(i);
                w.text += std::string(line.substr(i, len));
                step(len);
            }
            if (i >= line.size()) {
                error = {w.pos, "unclosed quote"};
                return false;
            }
            step(1);
        } else {
            while (i < line.size() && !isBlank(i)) {
                const std::size_t len = charLen(i);
                w.text += std::string(line.substr(i, len));
                step(len);
            }
        }
        out.push_back(std::move(w));
    }
    return true;
}

bool ValidName(std::string_view s) {
    const std::vector<Token> t = Tokenize(s);
    return t.size() == 2 && t[0].kind == Tok::Name && t[1].kind == Tok::End && t[0].text.size() == s.size();
}

struct EntryText {
    std::shared_ptr<Compiled> compiled;
    std::string_view text;
    Pos start;
};

// Reads the structure of a file; the entries' texts are parsed later.
Failure Structure(std::string_view file, std::vector<EntryText>& entries,
                  const std::function<std::string(const std::string&)>& takenBy) {
    Pos at;
    std::size_t i = 0;
    if (file.substr(0, 3) == "\xEF\xBB\xBF") i = at.offset = 3;
    EntryText* open = nullptr;
    bool inParams = false;
    std::unordered_map<std::string, bool> names;
    while (i <= file.size()) {
        const std::size_t nl = file.find('\n', i);
        const std::size_t end = nl == std::string_view::npos ? file.size() : nl;
        const std::string_view line = file.substr(i, end - i);
        std::vector<Word> words;
        Failure bad;
        if (!Words(line, at, words, bad)) return bad;
        const std::string head = words.empty() ? "" : UpperKey(words[0].text);
        if (open == nullptr) {
            if (!words.empty() && words[0].text[0] != '#') {
                if (head != "FORMULA") return {words[0].pos, "expected FORMULA NAME [\"description\"] [OVERLAY]"};
                if (words.size() < 2 || words[1].quoted) return {words[0].pos, "FORMULA needs a name"};
                const Word& name = words[1];
                const std::string key = UpperKey(name.text);
                if (!ValidName(name.text))
                    return {name.pos, "'" + name.text + "' is not a name (a letter or '_', then letters, digits and '_', at most 32)"};
                if (Reserved(key) || (FindOperation(key) != nullptr) || names.count(key))
                    return {name.pos, "'" + name.text + "' is taken: a built-in name, an operation or another entry"};
                if (const std::string by = takenBy(key); !by.empty())
                    return {name.pos, "'" + name.text + "' is taken: an entry of " + by};
                names[key] = true;
                auto c = std::make_shared<Compiled>();
                c->name = name.text;
                c->firstLine = at.line;
                std::size_t k = 2;
                if (k < words.size() && words[k].quoted) c->description = words[k++].text;
                if (k < words.size() && UpperKey(words[k].text) == "OVERLAY" && !words[k].quoted) {
                    c->overlay = true;
                    ++k;
                }
                if (k < words.size()) return {words[k].pos, "unexpected '" + words[k].text + "' after FORMULA " + name.text};
                entries.push_back({c, {}, {}});
                open = &entries.back();
                inParams = true;
            }
        } else if (inParams && head == "PARAM") {
            auto& params = open->compiled->parsed.params;
            if (words.size() != 5) return {words[0].pos, "PARAM NAME DEFAULT MIN MAX"};
            if (params.size() >= static_cast<std::size_t>(kMaxFormulaParams)) return {words[0].pos, "more than 32 parameters"};
            FormulaParam p;
            p.name = words[1].text;
            const std::string key = UpperKey(p.name);
            if (!ValidName(p.name) || Reserved(key)) return {words[1].pos, "'" + p.name + "' cannot name a parameter"};
            for (const FormulaParam& q : params)
                if (UpperKey(q.name) == key) return {words[1].pos, "parameter '" + p.name + "' is already declared"};
            double* slots[3] = {&p.defaultValue, &p.min, &p.max};
            for (int k = 0; k < 3; ++k) {
                const std::string& t = words[static_cast<std::size_t>(k) + 2].text;
                const char* from = t.data() + (!t.empty() && t[0] == '+' ? 1 : 0);
                const auto r = std::from_chars(from, t.data() + t.size(), *slots[k]);
                if (r.ec != std::errc() || r.ptr != t.data() + t.size() || !std::isfinite(*slots[k]))
                    return {words[static_cast<std::size_t>(k) + 2].pos, "'" + t + "' is not a number"};
            }
            if (!(p.min <= p.defaultValue && p.defaultValue <= p.max))
                return {words[2].pos, "PARAM " + p.name + ": the default must lie in MIN..MAX"};
            params.push_back(p);
        } else {
            if (inParams) {  // the text starts here
                inParams = false;
                open->start = at;
                open->text = file.substr(i, 0);
            }
            if (words.size() == 1 && head == "END") {
                open->text = file.substr(open->start.offset, i - open->start.offset);
                open = nullptr;
            }
        }
        if (nl == std::string_view::npos) break;
        i = nl + 1;
        at.offset = static_cast<std::uint32_t>(i);
        ++at.line;
        at.column = 1;
    }
    if (open != nullptr) {
        Pos p;
        p.line = open->compiled->firstLine;
        return {p, "FORMULA " + open->compiled->name + " has no END"};
    }
    return {};
}

// Cycles among `entries` through their references; the reference that
// closes the first one found.
Failure Cycles(const std::vector<std::shared_ptr<Compiled>>& entries) {
    std::unordered_map<const Compiled*, int> state;  // 1 visiting, 2 done
    std::vector<std::string> path;
    Failure found;
    std::function<bool(const Compiled&)> visit = [&](const Compiled& c) {
        state[&c] = 1;
        path.push_back(c.name);
        for (std::size_t k = 0; k < c.refs.size(); ++k) {
            const Compiled* next = c.refs[k].entry.get();
            if (next == nullptr) continue;
            if (state[next] == 1) {
                std::string cycle;
                for (const std::string& n : path) cycle += n + " -> ";
                found = {c.parsed.refs[k].pos, "reference cycle: " + cycle + next->name};
                return true;
            }
            if (state[next] == 0 && visit(*next)) return true;
        }
        path.pop_back();
        state[&c] = 2;
        return false;
    };
    for (const auto& e : entries)
        if (state[e.get()] == 0 && visit(*e)) return found;
    return {};
}

}  // namespace

std::shared_ptr<const Compiled> CompileText(std::string_view text, const FormulaLibrary* library) {
    auto c = std::make_shared<Compiled>();
    c->source = std::make_shared<const std::string>(text);
    c->parsed = Parse(*c->source, Pos{}, {});
    if (library == nullptr) library = &FormulaLibrary::Shipped();
    Lookup lookup = [library](const std::string& key) -> std::shared_ptr<const Compiled> {
        const Formula* f = library->Find(key);
        return f == nullptr ? nullptr : Access::Of(*f);
    };
    auto names = [library] {
        std::vector<std::string> out;
        for (const FormulaEntry& e : library->Entries()) out.push_back(e.name);
        return out;
    };
    Finish(*c, c->parsed.failure, lookup, names);
    LowerDefaults(*c);
    return c;
}

}  // namespace formula

FormulaLibrary::FormulaLibrary(Start start) : impl_(std::make_unique<Impl>()) {
    if (start == Start::Empty) return;
    const Impl& shipped = *Shipped().impl_;
    impl_->entries = shipped.entries;
    impl_->byKey = shipped.byKey;
    for (const auto& e : shipped.entries) {
        auto f = std::make_unique<Formula>();
        f->compiled_ = e;
        impl_->formulas.push_back(std::move(f));
    }
    impl_->shippedCount = impl_->entries.size();
}
FormulaLibrary::~FormulaLibrary() = default;
FormulaLibrary::FormulaLibrary(FormulaLibrary&&) noexcept = default;
FormulaLibrary& FormulaLibrary::operator=(FormulaLibrary&&) noexcept = default;

const FormulaLibrary& FormulaLibrary::Shipped() {
    // Loaded once, in file-name order: an entry may reference entries of its
    // own file and of the files before it. A file that does not load is left
    // out (a test keeps every shipped file loading).
    static const FormulaLibrary* const shipped = [] {
        auto* library = new FormulaLibrary(Start::Empty);
        for (int k = 0; k < formula::kShippedFileCount; ++k)
            if (formula::kShippedFiles[k].name != nullptr)
                (void)library->Load(formula::kShippedFiles[k].text, formula::kShippedFiles[k].name);
        library->impl_->shippedCount = library->impl_->entries.size();
        return library;
    }();
    return *shipped;
}

FormulaError FormulaLibrary::Load(std::string_view text, std::string_view fileName) {
    using namespace formula;
    auto source = std::make_shared<const std::string>(text);
    if (source->size() > kMaxFileBytes) {
        Failure f;
        f.pos.line = 1 + static_cast<int>(std::count(source->begin(), source->begin() + kMaxFileBytes, '\n'));
        f.message = "formula file larger than 16 MiB";
        return MakeError(f, *source);
    }
    std::vector<EntryText> entries;
    auto taken = [this](const std::string& key) {
        const auto it = impl_->byKey.find(key);
        return it == impl_->byKey.end() ? std::string() : impl_->entries[it->second]->file;
    };
    if (Failure bad = Structure(*source, entries, taken)) return MakeError(bad, *source);

    std::unordered_map<std::string, std::shared_ptr<const Compiled>> fresh;
    std::vector<std::string> names;
    for (const auto& e : impl_->entries) names.push_back(e->name);
    std::vector<Failure> parseFailures;
    for (EntryText& e : entries) {
        Compiled& c = *e.compiled;
        c.source = source;
        c.file = std::string(fileName);
        std::vector<FormulaParam> params = std::move(c.parsed.params);
        if (e.text.size() > kMaxTextBytes) {
            Pos at = e.start;
            at.line = e.start.line + static_cast<int>(std::count(e.text.begin(), e.text.begin() + kMaxTextBytes, '\n'));
            parseFailures.push_back({at, c.name + ": formula text longer than 65,536 bytes"});
            c.parsed.params = std::move(params);
        } else {
            c.parsed = Parse(e.text, e.start, std::move(params));
            parseFailures.push_back(c.parsed.failure);
        }
        fresh[UpperKey(c.name)] = e.compiled;
        names.push_back(c.name);
    }
    Lookup lookup = [&](const std::string& key) -> std::shared_ptr<const Compiled> {
        if (auto it = fresh.find(key); it != fresh.end()) return it->second;
        if (auto it = impl_->byKey.find(key); it != impl_->byKey.end()) return impl_->entries[it->second];
        return nullptr;
    };
    // Entries refused together: their references to each other (a cycle
    // among them included) are dropped so that nothing keeps them alive.
    auto refuse = [&entries](FormulaError error) {
        for (EntryText& e : entries) e.compiled->refs.clear();
        return error;
    };
    for (std::size_t k = 0; k < entries.size(); ++k) {
        Compiled& c = *entries[k].compiled;
        Finish(c, parseFailures[k], lookup, [&names] { return names; });
        if (c.error) return refuse(c.error);
    }
    std::vector<std::shared_ptr<Compiled>> all;
    for (EntryText& e : entries) all.push_back(e.compiled);
    if (Failure bad = Cycles(all)) return refuse(MakeError(bad, *source));
    for (EntryText& e : entries) {
        LowerDefaults(*e.compiled);
        if (e.compiled->error) return refuse(e.compiled->error);
    }
    for (EntryText& e : entries) {
        impl_->byKey[UpperKey(e.compiled->name)] = impl_->entries.size();
        impl_->entries.push_back(e.compiled);
        auto f = std::make_unique<Formula>();
        f->compiled_ = e.compiled;
        impl_->formulas.push_back(std::move(f));
    }
    return {};
}

FormulaError FormulaLibrary::LoadFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    FormulaError e;
    if (!in) {
        e.message = "cannot read " + path;
        return e;
    }
    std::string text;
    char buf[65536];
    while (in.read(buf, sizeof buf) || in.gcount() > 0) {
        text.append(buf, static_cast<std::size_t>(in.gcount()));
        if (text.size() > formula::kMaxFileBytes) break;
    }
    return Load(text, path);
}

std::vector<FormulaEntry> FormulaLibrary::Entries() const {
    std::vector<FormulaEntry> out;
    for (std::size_t k = 0; k < impl_->entries.size(); ++k) {
        const Compiled& c = *impl_->entries[k];
        out.push_back({c.name, c.description, c.overlay, c.parsed.params, c.outputs, c.file, c.firstLine,
                       k < impl_->shippedCount});
    }
    return out;
}

const Formula* FormulaLibrary::Find(std::string_view name) const {
    const auto it = impl_->byKey.find(formula::UpperKey(name));
    return it == impl_->byKey.end() ? nullptr : impl_->formulas[it->second].get();
}

}  // namespace fenxi
