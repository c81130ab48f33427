"""Client of the kx command server.

A kx application serving commands (``kxsh --serve``, or the application while it runs a Python
script) listens on the loopback interface and speaks JSON-RPC 2.0, one message per line. This
package connects, authenticates with the server's token and sends commands::

    import kxclient
    with kxclient.connect() as kx:
        kx.execute("set w = 2")             # -> None
        kx.execute("app.subnodes[1].width")  # -> 2.0
        kx.app.subnodes[1].nodename()         # calls a published function
        kx.app.subnodes[1].filename           # reads a published variable
        kx.app.subnodes[1].filename = "a.txt" # sets it

Standard library only.
"""

from ._client import (KxError, Proxy, Session, connect, connection_dir, find_server,
                      read_announcement)

__all__ = ["KxError", "Proxy", "Session", "connect", "connection_dir", "find_server",
           "read_announcement"]
