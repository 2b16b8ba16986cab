// Requests that another site's page makes the browser send. Such a page must
// not change the device's settings with the administrator's browser (a
// cross-site request forgery), so a request that would change something is
// refused when the browser says it comes from elsewhere. Requests without the
// browser's signals (scripts, the device's own tools) go on as before.
#pragma once

// Whether the browser's signals, as the CGI environment carries them (each may
// be none or empty), say the request comes from another site: a Sec-Fetch-Site
// of "cross-site" ("same-origin", "same-site", "none" and any other value
// pass); without one, an Origin, or else a Referer, whose host[:port] is not
// the request's Host (an Origin "null", or one without a host, names no host
// of this device).
bool sameorigin_cross_site(const char* fetch_site, const char* origin, const char* referer, const char* host);

// Whether the request changes something on the device: any request with act
// (items 20 restart, 27 certificate management and 38 factory defaults among
// them), the save page (item 19) even without act, and the certificate
// authority (item 26) on any step but 0, where it makes a certificate.
bool sameorigin_changes(int item, int act, long step);

// A changing request from another site is refused here: the answer is
// "403 Forbidden" with the error page "in file sameorigin line 41"
// (Operation not permitted), also recorded at LOG_ERR, and the request's
// uploads are removed. Returns whether it was refused; then nothing else may
// run.
bool sameorigin_refused(int item, int act, long step);
