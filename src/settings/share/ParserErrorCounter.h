// Counts the errors of a parser and forwards them to its listener.
#pragma once

#include "settings/share/IConfigParser.h"

namespace settings_impl {

class ParserErrorCounter : public IParserErrorListener {
public:
    /// `next` may be null.
    explicit ParserErrorCounter(IParserErrorListener* next) : next_(next) {}

    int count() const { return count_; }

    void onError(const IParserCursor& cursor, const std::string& message) override {
        ++count_;
        if (next_) {
            next_->onError(cursor, message);
        }
    }

private:
    int count_ = 0;
    IParserErrorListener* next_;
};

}  // namespace settings_impl
