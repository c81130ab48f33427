// kxstreambuf.h - kxStreambuf: captures what is written to a standard output stream and hands
// it, one flush at a time, to a function (typically a message-window printer).
//
//   kxStreambuf capture(&std::cout);
//   capture.Open(myPrinter);          // std::cout now writes into `capture`
//   std::cout << "x = " << x << std::endl;   // myPrinter("x = 42\n") at the flush
//   capture.Close();                  // std::cout has its own buffer back
//
// Text collects in a growing buffer until the stream is flushed (std::flush, std::endl, or
// pubsync); then the NUL-terminated text goes to the void receiver if one is set, else to the
// int receiver, and the buffer is emptied (a flush with nothing collected delivers "").
// Open() without a receiver redirects the stream and drops the collected text at every flush (a
// way to silence a stream). Close() gives the stream its own buffer back and forgets the
// receivers; text written since the last flush is dropped, not delivered (flush first to keep
// it). Every Open closes first; the destructor closes. The stream must outlive the capture;
// attach and detach from one thread.
#ifndef KX_FOUNDATION_KXSTREAMBUF_H
#define KX_FOUNDATION_KXSTREAMBUF_H

#include <ostream>
#include <streambuf>
#include <string>

class kxStreambuf : public std::streambuf {
public:
    typedef void (*VoidReceiver)(const char *text);
    typedef int (*IntReceiver)(const char *text);

    /// Will capture `stream` once opened; the stream is not touched yet.
    explicit kxStreambuf(std::ostream *stream) : stream_(stream) {}
    ~kxStreambuf() override { Close(); }
    kxStreambuf(const kxStreambuf &) = delete;
    kxStreambuf &operator=(const kxStreambuf &) = delete;

    void Open();
    void Open(VoidReceiver receiver);
    void Open(IntReceiver receiver);
    void Close();
    bool IsOpen() const { return saved_ != nullptr; }

protected:
    int_type overflow(int_type c) override;
    std::streamsize xsputn(const char *s, std::streamsize n) override;
    int sync() override;

private:
    void Attach();

    std::ostream *stream_;
    std::streambuf *saved_ = nullptr; // the stream's own buffer while captured
    VoidReceiver voidReceiver_ = nullptr;
    IntReceiver intReceiver_ = nullptr;
    std::string pending_;
};

#endif
