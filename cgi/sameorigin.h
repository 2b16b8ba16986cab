// Requests that another site's page makes the browser send. Such a page must
// not change the device with the administrator's browser (a cross-site request
// forgery), nor through a name of its own that it points at the device (DNS
// rebinding). So a request that a browser sent and that would change something
// goes on only when the browser says it comes from this device's own pages, and
// only when it is addressed to the device by an address or by the device's own
// name. Requests without any browser header (the device's own scripts, tools
// run by hand, tests that start the program directly) go on as before.
#pragma once

// The headers that tell a browser's request, as the CGI environment carries
// them (each may be none or empty; empty counts as not sent).
struct BrowserHeaders {
    const char* user_agent;  // HTTP_USER_AGENT
    const char* fetch_site;  // HTTP_SEC_FETCH_SITE
    const char* fetch_mode;  // HTTP_SEC_FETCH_MODE, HTTP_SEC_FETCH_DEST, HTTP_SEC_FETCH_USER:
    const char* fetch_dest;  //   the other Sec-Fetch-* headers, which only tell that a
    const char* fetch_user;  //   browser sent the request
    const char* origin;      // HTTP_ORIGIN
    const char* referer;     // HTTP_REFERER
    const char* host;        // HTTP_HOST
};

// The request's headers from the environment.
BrowserHeaders sameorigin_headers();

// Whether a browser sent the request: it carries a User-Agent, an Origin, a
// Referer or any Sec-Fetch-* header. (A Host alone does not tell.)
bool sameorigin_from_browser(const BrowserHeaders& h);

// Whether the browser positively says the request comes from this device's
// own pages: a Sec-Fetch-Site of "same-origin", "same-site" or "none" (a typed
// address, a bookmark); any other Sec-Fetch-Site, "cross-site" above all, says
// no whatever else is sent. Without Sec-Fetch-Site, an Origin, or when there is
// none a Referer, whose host and port are the request's Host (an address
// without a port stands for its scheme's port). An Origin "null", or one
// without a host, is no such signal, and neither is the lack of all of them.
bool sameorigin_same_site(const char* fetch_site, const char* origin, const char* referer, const char* host);

// Whether a Host header names this device: none at all, an IPv4 address
// ("192.168.0.1"), a bracketed IPv6 address ("[fe80::1]"), "localhost", or
// the device's host name, alone or with its domain ("gateway",
// "gateway.localdomain"); compared without the port, without regard to case,
// and with one trailing dot allowed. hostname and domain may be none or empty.
bool sameorigin_device_host(const char* host, const char* hostname, const char* domain);

// What the request is, as far as telling a change goes.
struct RequestKind {
    int item;
    int act;
    long step;             // the number of the step text
    const char* keystate;  // the keystate value (the empty text when not sent)
    bool uploaded;         // the parser stored a file of the request
};

// Whether the request changes something on the device (the table in
// sameorigin.cpp: every request with act, every upload, the save page, the
// certificate authority on a step, the OpenVPN page's static key actions).
bool sameorigin_changes(const RequestKind& r);

// A change that a browser sent without the signal of this device's pages, or
// to a Host that does not name the device, is refused here: the answer is
// "403 Forbidden" with a page that says so (in German when lang begins with
// "deutsc"), the record "Error in file sameorigin line 41: Operation not
// permitted" at LOG_ERR, and the request's uploads are removed. Returns whether
// it was refused; then nothing else may run.
bool sameorigin_refused(int item, int act, long step);
