#include "report_main.h"

#include <cstdio>

#include "report.h"
#include "station/results_store.h"
#include "yield_report.h"

namespace ftm_station {

namespace {

constexpr const char *kUsage =
	"usage: ftm-station report --db FILE|postgresql://... [--from T] [--to T] [--station S] [--list L]\n"
	"                          [--csv] [--html FILE]\n"
	"  T: UTC time or its start, as 2026-11-23 or 2026-11-23T14:00; phones started in [from, to)\n";

// A bad argument is named before the usage.
int usage(const std::string &complaint)
{
	std::fprintf(stderr, "ftm-station report: %s\n%s", complaint.c_str(), kUsage);
	return 2;
}

bool is_time_prefix(const std::string &t)
{
	const std::string model = "0000-00-00T00:00:00.000Z";
	if (t.size() < 4 || t.size() > model.size())
		return false;
	for (size_t i = 0; i < t.size(); ++i)
		if (model[i] == '0' ? t[i] < '0' || t[i] > '9' : t[i] != model[i])
			return false;
	return true;
}

}  // namespace

int report_main(const std::vector<std::string> &args)
{
	std::string db, html;
	station::ResultsQuery query;
	bool csv = false;
	for (size_t i = 0; i < args.size(); ++i) {
		const std::string &a = args[i];
		std::string *into = a == "--db" ? &db : a == "--from" ? &query.from : a == "--to" ? &query.to
		                  : a == "--station" ? &query.station : a == "--list" ? &query.list : a == "--html" ? &html
		                                                                                   : nullptr;
		if (a == "-h" || a == "--help") {
			std::fputs(kUsage, stdout);
			return 0;
		}
		if (into && i + 1 < args.size())
			*into = args[++i];
		else if (into)
			return usage(a + " needs a value");
		else if (a == "--csv")
			csv = true;
		else
			return usage("unexpected argument '" + a + "'");
	}
	if (db.empty())
		return usage("--db is required");
	for (const std::string *t : {&query.from, &query.to})
		if (!t->empty() && !is_time_prefix(*t)) {
			std::fprintf(stderr, "ftm-station: '%s' is not a UTC time such as 2026-11-23T14:00\n", t->c_str());
			return 2;
		}

	std::string error;
	auto store = station::open_results_store(db, &error);
	std::vector<station::PhoneResult> phones;
	if (store)
		error = store->read_phones(query, &phones);
	if (!error.empty()) {
		std::fprintf(stderr, "ftm-station: %s\n", error.c_str());
		return 1;
	}
	YieldReport r = compute_yield(phones);
	std::string title = "Yield";
	if (!query.station.empty())
		title += ", station " + query.station;
	if (!query.list.empty())
		title += ", list " + query.list;
	if (!query.from.empty() || !query.to.empty())
		title += ", " + (query.from.empty() ? "start" : query.from) + " to " + (query.to.empty() ? "now" : query.to);
	std::string out = csv ? yield_csv(r) : yield_text(r, title);
	std::fwrite(out.data(), 1, out.size(), stdout);
	if (!html.empty() && !write_file(html, yield_html(r, title), &error)) {
		std::fprintf(stderr, "ftm-station: %s\n", error.c_str());
		return 1;
	}
	return 0;
}

}  // namespace ftm_station
