#pragma once

#include <QString>

// The web addresses the program asks (the network test, the update information file, the
// download page) can be pointed at a local test server with the development setting
// TAVRILL_SERVICE_ORIGIN, for example "http://127.0.0.1:8080". Only the scheme, host and port
// of an address are replaced; its path and query stay. The setting is honoured only for a plain
// http origin on the loopback interface, so it can never send the program to another machine;
// anything else is ignored. Unset, every address is used as it stands.
QString serviceAddress(const QString& url);
