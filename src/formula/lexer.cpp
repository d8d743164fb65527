#include "formula/lexer.h"

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <system_error>

namespace fenxi::formula {

std::string UpperKey(std::string_view s) {
    std::string out(s);
    for (char& c : out)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    return out;
}

namespace {

constexpr char32_t kIdeographicSpace = 0x3000;
constexpr char32_t kInvalid = 0xFFFFFFFF;

// One UTF-8 character at s[i]: its code point (kInvalid for a malformed
// sequence) and its length in bytes (1 for a malformed one).
char32_t Decode(std::string_view s, std::size_t i, std::size_t& len) {
    const auto b = static_cast<unsigned char>(s[i]);
    len = 1;
    if (b < 0x80) return b;
    const int extra = b >= 0xC2 && b <= 0xDF ? 1 : b >= 0xE0 && b <= 0xEF ? 2 : b >= 0xF0 && b <= 0xF4 ? 3 : -1;
    if (extra < 0) return kInvalid;
    if (i + static_cast<std::size_t>(extra) >= s.size()) return kInvalid;
    char32_t cp = b & (0x3F >> extra);
    for (int k = 1; k <= extra; ++k) {
        const auto c = static_cast<unsigned char>(s[i + static_cast<std::size_t>(k)]);
        if ((c & 0xC0) != 0x80) return kInvalid;
        cp = cp << 6 | (c & 0x3F);
    }
    // Overlong forms, surrogates and values past U+10FFFF are malformed.
    if ((extra == 2 && cp < 0x800) || (extra == 3 && (cp < 0x10000 || cp > 0x10FFFF)) ||
        (cp >= 0xD800 && cp <= 0xDFFF))
        return kInvalid;
    len = static_cast<std::size_t>(extra) + 1;
    return cp;
}

bool FullWidth(char32_t cp) { return cp >= 0xFF01 && cp <= 0xFF5E; }
bool IsSpace(char32_t cp) { return cp == ' ' || cp == '\t' || cp == '\r' || cp == '\n' || cp == kIdeographicSpace; }
bool IsDigit(char32_t cp) { return cp >= '0' && cp <= '9'; }
bool IsLetter(char32_t cp) {
    return (cp >= 'A' && cp <= 'Z') || (cp >= 'a' && cp <= 'z') || cp == '_' ||
           (cp >= 0x80 && cp != kInvalid && cp != kIdeographicSpace && !FullWidth(cp));
}

class Scanner {
public:
    Scanner(std::string_view text, Pos start) : s_(text), pos_(start) {
        if (s_.size() >= 3 && std::memcmp(s_.data(), "\xEF\xBB\xBF", 3) == 0) {
            s_.remove_prefix(3);
            pos_.offset += 3;
        }
        base_ = pos_.offset;
        limit_ = std::min(s_.size(), kMaxTextBytes);
    }

    std::vector<Token> Run() {
        std::vector<Token> out;
        out.reserve(s_.size() / 4 + 8);  // a typical text has a token per 2 to 4 bytes: few regrowths
        for (;;) {
            out.push_back(Next());
            if (out.back().kind == Tok::End || out.back().kind == Tok::Error) return out;
        }
    }

private:
    std::string_view s_;
    Pos pos_;
    std::uint32_t base_ = 0;
    std::size_t limit_ = 0, i_ = 0;

    bool AtLimit() const { return i_ >= limit_; }
    bool Truncated() const { return limit_ < s_.size(); }
    char32_t Peek(std::size_t& len) const {
        if (AtLimit()) {
            len = 0;
            return 0;
        }
        const char32_t cp = Decode(s_, i_, len);
        if (i_ + len > limit_) {  // a character across the byte bound
            len = 0;
            return 0;
        }
        return cp;
    }
    char PeekAscii(std::size_t ahead = 0) const { return i_ + ahead < limit_ ? s_[i_ + ahead] : '\0'; }
    void Advance(std::size_t len, char32_t cp) {
        i_ += len;
        pos_.offset = base_ + static_cast<std::uint32_t>(i_);
        if (cp == '\n') {
            ++pos_.line;
            pos_.column = 1;
        } else {
            ++pos_.column;
        }
    }
    void AdvanceAscii(std::size_t n) {
        for (std::size_t k = 0; k < n; ++k) Advance(1, static_cast<unsigned char>(s_[i_]));
    }

    Token Error(Pos at, std::string message) {
        Token t;
        t.kind = Tok::Error;
        t.pos = at;
        t.text = std::move(message);
        return t;
    }
    Token BoundError() { return Error(pos_, "formula text longer than 65,536 bytes"); }

    // Skips spaces and comments; an error token when a comment is unclosed.
    bool SkipBlank(Token& error) {
        for (;;) {
            std::size_t len;
            const char32_t cp = Peek(len);
            if (len == 0) return true;
            if (IsSpace(cp)) {
                Advance(len, cp);
            } else if (cp == '{') {
                const Pos open = pos_;
                Advance(1, cp);
                for (;;) {
                    const char32_t c = Peek(len);
                    if (len == 0) {
                        error = AtLimit() && Truncated() ? BoundError()
                                                         : Error(open, "unclosed comment: '{' without '}'");
                        return false;
                    }
                    Advance(len, c == kInvalid ? 0 : c);
                    if (c == '}') break;
                }
            } else if (cp == '/' && PeekAscii(1) == '/') {
                while (true) {
                    const char32_t c = Peek(len);
                    if (len == 0 || c == '\n') break;
                    Advance(len, 0);
                }
            } else {
                return true;
            }
        }
    }

    // A name: letters, digits and '_' after a letter or '_'.
    std::string ScanName(Pos start, Token& error, bool& ok) {
        const std::size_t from = i_;
        std::size_t chars = 0;
        for (;;) {
            std::size_t len;
            const char32_t cp = Peek(len);
            if (len == 0 || !(IsLetter(cp) || IsDigit(cp))) break;
            Advance(len, cp);
            ++chars;
        }
        ok = chars <= kMaxNameChars;
        if (!ok) error = Error(start, "name longer than 32 characters");
        return std::string(s_.substr(from, i_ - from));
    }

    Token Next() {
        Token err;
        if (!SkipBlank(err)) return err;
        Token t;
        t.pos = pos_;
        std::size_t len;
        const char32_t cp = Peek(len);
        if (len == 0) {
            if (AtLimit() && Truncated()) return BoundError();
            if (i_ < limit_) return Error(pos_, "malformed UTF-8");
            t.kind = Tok::End;
            return t;
        }
        if (cp == kInvalid) return Error(pos_, "malformed UTF-8");
        if (FullWidth(cp)) {
            const char ascii = static_cast<char>(cp - 0xFEE0);
            return Error(pos_, "full-width character '" + std::string(s_.substr(i_, len)) + "': did you mean '" +
                                   std::string(1, ascii) + "'?");
        }
        if (IsLetter(cp)) {
            bool ok = true;
            t.text = ScanName(t.pos, err, ok);
            if (!ok) return err;
            t.key = UpperKey(t.text);
            // NAME.LINE is one token when the point touches both names.
            std::size_t l2;
            if (PeekAscii() == '.' && i_ + 1 < limit_ && IsLetter(Decode(s_, i_ + 1, l2))) {
                AdvanceAscii(1);
                const Pos linePos = pos_;
                t.line = ScanName(linePos, err, ok);
                if (!ok) return err;
                t.lineKey = UpperKey(t.line);
                t.kind = Tok::Ref;
                return t;
            }
            t.kind = Tok::Name;
            return t;
        }
        if (IsDigit(cp) || (cp == '.' && IsDigit(static_cast<unsigned char>(PeekAscii(1))))) return Number(t);
        if (cp == '"') return Quoted(t);
        auto op = [&](Tok kind, std::size_t n) {
            t.kind = kind;
            AdvanceAscii(n);
            return t;
        };
        const char a = static_cast<char>(cp), b = PeekAscii(1);
        switch (a) {
            case '(': return op(Tok::LParen, 1);
            case ')': return op(Tok::RParen, 1);
            case ',': return op(Tok::Comma, 1);
            case ';': return op(Tok::Semicolon, 1);
            case '+': return op(Tok::Plus, 1);
            case '-': return op(Tok::Minus, 1);
            case '*': return op(Tok::Star, 1);
            case '/': return op(Tok::Slash, 1);
            case ':': return b == '=' ? op(Tok::Assign, 2) : op(Tok::Colon, 1);
            case '=': return b == '=' ? op(Tok::Eq, 2) : op(Tok::Eq, 1);
            case '<': return b == '>' ? op(Tok::Ne, 2) : b == '=' ? op(Tok::Le, 2) : op(Tok::Lt, 1);
            case '>': return b == '=' ? op(Tok::Ge, 2) : op(Tok::Gt, 1);
            case '!':
                if (b == '=') return op(Tok::Ne, 2);
                break;
            case '&':
                if (b == '&') return op(Tok::And, 2);
                break;
            case '|':
                if (b == '|') return op(Tok::Or, 2);
                break;
            default: break;
        }
        return Error(pos_, "unexpected character '" + std::string(s_.substr(i_, len)) + "'");
    }

    Token Number(Token t) {
        const std::size_t from = i_;
        auto digits = [&] {
            while (IsDigit(static_cast<unsigned char>(PeekAscii()))) AdvanceAscii(1);
        };
        digits();
        if (PeekAscii() == '.') {
            AdvanceAscii(1);
            digits();
        }
        // An exponent needs digits; otherwise the 'e' starts the next token.
        const char e = PeekAscii();
        if (e == 'e' || e == 'E') {
            std::size_t k = 1;
            if (PeekAscii(1) == '+' || PeekAscii(1) == '-') k = 2;
            if (IsDigit(static_cast<unsigned char>(PeekAscii(k)))) {
                AdvanceAscii(k);
                digits();
            }
        }
        const std::string_view lit = s_.substr(from, i_ - from);
        double v = 0;
        const auto r = std::from_chars(lit.data(), lit.data() + lit.size(), v);
        if (r.ec == std::errc::result_out_of_range) {
            // Underflow rounds to a subnormal or zero; overflow is an error.
            std::string copy(lit);
            v = std::strtod(copy.c_str(), nullptr);
            if (v > 1.0) return Error(t.pos, "number '" + copy + "' is beyond the range of a double");
        } else if (r.ec != std::errc() || r.ptr != lit.data() + lit.size()) {
            return Error(t.pos, "malformed number '" + std::string(lit) + "'");
        }
        t.kind = Tok::Number;
        t.number = v;
        t.text = std::string(lit);
        return t;
    }

    // "NAME.LINE": any characters but '.', '"' and a line break in each part.
    Token Quoted(Token t) {
        AdvanceAscii(1);
        std::string parts[2];
        int part = 0;
        for (;;) {
            std::size_t len;
            const char32_t c = Peek(len);
            if (len == 0 || c == '\n') {
                if (len == 0 && AtLimit() && Truncated()) return BoundError();
                return Error(t.pos, "unclosed quote");
            }
            if (c == kInvalid) return Error(pos_, "malformed UTF-8");
            if (c == '"') {
                AdvanceAscii(1);
                break;
            }
            if (c == '.') {
                if (part == 1) return Error(pos_, "a quoted reference has one '.': \"NAME.LINE\"");
                part = 1;
                AdvanceAscii(1);
                continue;
            }
            parts[part] += std::string(s_.substr(i_, len));
            Advance(len, c);
        }
        if (part == 0 || parts[0].empty() || parts[1].empty())
            return Error(t.pos, "a quoted reference names a line: \"NAME.LINE\"");
        t.kind = Tok::Ref;
        t.text = parts[0];
        t.key = UpperKey(parts[0]);
        t.line = parts[1];
        t.lineKey = UpperKey(parts[1]);
        return t;
    }
};

}  // namespace

std::vector<Token> Tokenize(std::string_view text, Pos start) { return Scanner(text, start).Run(); }

std::string SourceLine(std::string_view text, int line) {
    std::size_t from = 0;
    for (int l = 1; l < line; ++l) {
        const std::size_t nl = text.find('\n', from);
        if (nl == std::string_view::npos) return {};
        from = nl + 1;
    }
    std::size_t to = text.find('\n', from);
    if (to == std::string_view::npos) to = text.size();
    std::string out(text.substr(from, to - from));
    if (!out.empty() && out.back() == '\r') out.pop_back();
    return out;
}

}  // namespace fenxi::formula
