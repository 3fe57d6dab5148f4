// SPDX-License-Identifier: Apache-2.0
#include "npyHeader.hpp"

#include "failure.hpp"

#include <algorithm>
#include <limits>

namespace tekoimg {

namespace {

// Takes a text apart from the left. White space may stand anywhere between its parts.
class Parser {
public:
    explicit Parser(std::string_view text) : left(text) {}

    bool takes(std::string_view token) {
        skipSpace();
        const bool isThere = left.starts_with(token);
        left.remove_prefix(isThere ? token.size() : 0);
        return isThere;
    }
    void demand(std::string_view token) {
        if (!takes(token)) {
            fail();
        }
    }
    std::string quoted() {
        const bool isDouble = takes("\"");
        const char quote = isDouble ? '"' : '\'';
        if (!isDouble) {
            demand("'");
        }
        const std::size_t length = left.find(quote);
        if (length == std::string_view::npos) {
            fail();
        }
        std::string text(left.substr(0, length));
        left.remove_prefix(length + 1);
        return text;
    }
    std::uint32_t number() {
        skipSpace();
        constexpr std::uint64_t largest = std::numeric_limits<std::uint32_t>::max();
        std::uint64_t value = 0;
        std::size_t digits = 0;
        for (; digits < left.size() && left[digits] >= '0' && left[digits] <= '9'; ++digits) {
            value = std::min(largest, value * 10 + static_cast<std::uint64_t>(left[digits] - '0'));
        }
        if (digits == 0) {
            fail();
        }
        left.remove_prefix(digits);
        return static_cast<std::uint32_t>(value);
    }
    bool isAtEnd() {
        skipSpace();
        return left.empty();
    }
    [[noreturn]] static void fail() {
        throw Failure("is no .npy that can be read: its header is not as numpy.save writes it");
    }

private:
    void skipSpace() { left.remove_prefix(std::min(left.find_first_not_of(" \t\r\n"), left.size())); }

    std::string_view left;
};

std::string takeType(Parser& parser) {
    if (parser.takes("[")) {
        throw Failure("is an array of records; save one plain array of numbers");
    }
    return parser.quoted();
}

std::vector<std::uint32_t> takeShape(Parser& parser) {
    std::vector<std::uint32_t> shape;
    parser.demand("(");
    while (!parser.takes(")")) {
        shape.push_back(parser.number());
        if (!parser.takes(",")) {
            parser.demand(")");
            break;
        }
    }
    return shape;
}

} // namespace

NpyHeader parseNpyHeader(std::string_view text) {
    NpyHeader header;
    Parser parser(text);
    unsigned keys = 0;
    parser.demand("{");
    while (!parser.takes("}")) {
        const std::string key = parser.quoted();
        parser.demand(":");
        if (key == "descr") {
            header.type = takeType(parser);
            keys |= 1U;
        } else if (key == "fortran_order") {
            header.isFortranOrder = parser.takes("True");
            if (!header.isFortranOrder) {
                parser.demand("False");
            }
            keys |= 2U;
        } else if (key == "shape") {
            header.shape = takeShape(parser);
            keys |= 4U;
        } else {
            Parser::fail();
        }
        if (!parser.takes(",")) {
            parser.demand("}");
            break;
        }
    }
    if (keys != 7U || !parser.isAtEnd()) {
        Parser::fail();
    }
    return header;
}

} // namespace tekoimg
