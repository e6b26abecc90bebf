// The live view of a simulated phone: a local web page with its panel as it
// changes, its keys, its touch panel, its power key and its board's state.
//
//   GET  /             the page
//   GET  /screen.png   the panel now
//   GET  /state        the board's state as JSON (see board_state.h)
//   POST /key?code=N[&value=1|0]   a key press and release, or one event
//   POST /touch?x=X&y=Y            a touch at panel pixel (X, Y)
//   POST /power?down=1|0           hold or let go of the power key
//
// Input requests answer once the daemon has read the events, so inputs sent
// one after another reach it as separate reads.
#pragma once

#include <string>

#include "station/http_server.h"

namespace station {

class LiveView {
public:
	static constexpr int kDefaultPort = 8470;

	// Serves the board at board_dir on 127.0.0.1:port (0: any free port).
	bool start(const std::string &board_dir, int port, std::string *error = nullptr);
	void stop() { server_.stop(); }
	int port() const { return server_.port(); }

private:
	std::string board_dir_;
	HttpServer server_;
};

// The answer to one request; what the server runs, callable without a socket.
HttpResponse live_view_answer(const std::string &board_dir, const HttpRequest &request);

}  // namespace station
