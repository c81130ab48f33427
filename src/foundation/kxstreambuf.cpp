// kxstreambuf.cpp - kxStreambuf.
#include "kx/foundation/kxstreambuf.h"

void kxStreambuf::Attach()
{
    Close();
    if (!stream_)
        return;
    saved_ = stream_->rdbuf(this);
}

void kxStreambuf::Open() { Attach(); }

void kxStreambuf::Open(VoidReceiver receiver)
{
    Attach();
    voidReceiver_ = receiver;
}

void kxStreambuf::Open(IntReceiver receiver)
{
    Attach();
    intReceiver_ = receiver;
}

void kxStreambuf::Close()
{
    if (saved_) {
        stream_->rdbuf(saved_);
        saved_ = nullptr;
    }
    voidReceiver_ = nullptr;
    intReceiver_ = nullptr;
    pending_.clear();
}

kxStreambuf::int_type kxStreambuf::overflow(int_type c)
{
    if (traits_type::eq_int_type(c, traits_type::eof()))
        return traits_type::not_eof(c);
    pending_.push_back(traits_type::to_char_type(c));
    return c;
}

std::streamsize kxStreambuf::xsputn(const char *s, std::streamsize n)
{
    pending_.append(s, static_cast<std::size_t>(n));
    return n;
}

int kxStreambuf::sync()
{
    // Every flush is delivered, an empty one as "". c_str() supplies the terminating NUL.
    if (voidReceiver_)
        voidReceiver_(pending_.c_str());
    else if (intReceiver_)
        intReceiver_(pending_.c_str());
    pending_.clear();
    return 0;
}
