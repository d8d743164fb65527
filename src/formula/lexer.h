// Tokens of a formula text: names, numbers, references, operators. The whole
// text is read into tokens first; a character that cannot begin a token
// becomes an error token, reported when the parser looks at it.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace fenxi::formula {

constexpr std::size_t kMaxTextBytes = 65536;
constexpr std::size_t kMaxNameChars = 32;

struct Pos {
    int line = 1, column = 1;  // 1-based; columns in characters
    std::uint32_t offset = 0;  // byte offset in the text
};

enum class Tok {
    End,
    Error,   // text: the message
    Name,    // text: as written; key: ASCII upper case
    Number,  // number
    Ref,     // text: NAME, line: LINE (as written); key / lineKey upper case
    LParen,
    RParen,
    Comma,
    Semicolon,
    Colon,   // :
    Assign,  // :=
    Plus,
    Minus,
    Star,
    Slash,
    Eq,  // = ==
    Ne,  // <> !=
    Lt,
    Le,
    Gt,
    Ge,
    And,  // && (AND is a name the parser reads as the operator)
    Or,   // ||
};

struct Token {
    Tok kind = Tok::End;
    Pos pos;
    std::string text, key;
    std::string line, lineKey;  // of a reference
    double number = 0;
};

// ASCII letters to upper case; other bytes unchanged.
std::string UpperKey(std::string_view s);

// The tokens of `text`, ending with End or with the first Error. `start`
// gives the position of the text's first byte (for an entry of a file).
// A byte-order mark at the very start is skipped.
std::vector<Token> Tokenize(std::string_view text, Pos start = {});

// The characters of `text` on its line `line` (1-based), without the break.
std::string SourceLine(std::string_view text, int line);

}  // namespace fenxi::formula
