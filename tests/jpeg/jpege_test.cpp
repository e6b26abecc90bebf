// The encoder object: quality scaling, engine choice, states, bad input,
// abort in the middle, and that no thread outlives the encoder.
#include <gtest/gtest.h>

#include <atomic>
#include <dirent.h>

#include "jpeg/jpege.h"
#include "jpeg_check.h"

using namespace jpeg;
using namespace jpeg_check;
namespace jc = jpeg_client;

TEST(JpegeQuality, ScalingRules)
{
	std::unique_ptr<jpeg_quant_table_t> store;
	jpeg_quant_table_t t{};
	t.fill(16);
	t[0] = 255;
	t[1] = 1;
	EXPECT_EQ(jpege_scale_quant_table(store, t.data(), 50), t.data());  // the caller's own
	EXPECT_EQ(store, nullptr);
	const uint16_t *q10 = jpege_scale_quant_table(store, t.data(), 10);
	EXPECT_EQ(q10[0], 255);  // 255 * 5 stays at the ceiling
	EXPECT_EQ(q10[2], 80);
	const uint16_t *q98 = jpege_scale_quant_table(store, t.data(), 98);
	EXPECT_EQ(q98, store->data());  // the store is kept between calls
	EXPECT_EQ(q98[1], 1);
	EXPECT_EQ(q98[2], 1);  // 16 / 25 + 0.5 truncates to 1
	EXPECT_EQ(q98[0], 10);  // 255 / 25 + 0.5
	jpeg_quant_table_t at98 = *store;
	jpege_scale_quant_table(store, t.data(), 100);
	EXPECT_EQ(*store, at98);  // 100 behaves as 98
	const uint16_t *q75 = jpege_scale_quant_table(store, standard_luma_q_tbl.data(), 75);
	EXPECT_EQ(q75[0], 8);  // 16 / 2
	EXPECT_EQ(q75[63], 50);  // 99 / 2 + 0.5
}

namespace {

// A client that can hold the output handler to keep an encoding running.
struct client {
	jpege_obj_handle enc = nullptr;
	std::mutex m;
	std::condition_variable cv;
	std::vector<int> events;
	size_t pieces = 0;
	bool hold = false;
	std::vector<uint8_t> bytes;
	yuv_image img;
	std::optional<jc::image_buffers> planes;
	std::array<jpeg_buffer_t, 2> out{};
	jpege_src_t src{};
	jpege_dst_t dst{};
	jpege_cfg_t cfg{};

	static void on_event(void *user, int event, const char *)
	{
		auto *c = static_cast<client *>(user);
		std::lock_guard lock(c->m);
		c->events.push_back(event);
		c->cv.notify_all();
	}
	static void on_output(jpege_obj_t *, void *user, jpeg_buffer_t buf)
	{
		auto *c = static_cast<client *>(user);
		std::unique_lock lock(c->m);
		c->bytes.insert(c->bytes.end(), buf->ptr, buf->ptr + buf->offset);
		c->pieces++;
		c->cv.notify_all();
		// The header goes out in two pieces on the starting thread: hold only scan data.
		if (c->pieces > 2)
			c->cv.wait(lock, [c] { return !c->hold; });
	}

	explicit client(uint32_t w = 320, uint32_t h = 240)
	{
		img = make_picture(w, h, YCRCBLP_H2V2);
		planes.emplace(img);
		EXPECT_EQ(jpege_init(&enc, on_event), 0);
		for (auto &b : out) {
			jpeg_buffer_init(&b);
			jpeg_buffer_allocate(b, 512, false);
		}
		src = {&planes->data, nullptr};
		dst = {on_output, this, 2, out};
		EXPECT_EQ(jpege_set_source(enc, &src), 0);
		EXPECT_EQ(jpege_set_destination(enc, &dst), 0);
		jpege_get_default_config(enc, &cfg);
		cfg.preference = JPEG_ENCODER_PREF_SOFTWARE_ONLY;
	}
	~client()
	{
		release();
		jpege_destroy(&enc);
		EXPECT_EQ(enc, nullptr);
		for (auto &b : out)
			jpeg_buffer_destroy(&b);
	}
	void release()
	{
		std::lock_guard lock(m);
		hold = false;
		cv.notify_all();
	}
	template <typename Pred>
	bool wait(Pred pred)
	{
		std::unique_lock lock(m);
		return cv.wait_for(lock, std::chrono::seconds(30), pred);
	}
	bool wait_event(int ev)
	{
		return wait([&] { return std::find(events.begin(), events.end(), ev) != events.end(); });
	}
};

size_t thread_count()
{
	size_t n = 0;
	if (DIR *d = opendir("/proc/self/task")) {
		while (dirent *e = readdir(d))
			n += e->d_name[0] != '.';
		closedir(d);
	}
	return n;
}

// A stand-in DSP engine: refuses every job, and counts how often it is asked.
std::atomic<int> dsp_checks{0};
int fake_dsp_check(jpege_engine_obj_t *, const jpege_img_cfg_t *, const jpege_img_data_t *, const jpege_engine_dst_t *)
{
	dsp_checks++;
	return JPEGERR_EUNSUPPORTED;
}
void fake_dsp_destroy(jpege_engine_obj_t *engine)
{
	jpege_obj_t *owner = engine->owner;
	*engine = jpege_engine_obj_t{};
	engine->owner = owner;
}
void fake_dsp_create(jpege_engine_obj_t *engine, jpege_obj_t *owner)
{
	if (engine->destroy)
		engine->destroy(engine);
	*engine = jpege_engine_obj_t{};
	engine->create = fake_dsp_create;
	engine->check_start_param = fake_dsp_check;
	engine->destroy = fake_dsp_destroy;
	engine->owner = owner;
}

struct fake_dsp {
	fake_dsp()
	{
		dsp_checks = 0;
		jpege_engine_dsp_profile.create = fake_dsp_create;
	}
	~fake_dsp() { jpege_engine_dsp_profile.create = nullptr; }
};

}  // namespace

TEST(Jpege, EngineChoiceByPreference)
{
	{
		client c;  // no DSP engine built in
		c.cfg.preference = JPEG_ENCODER_PREF_DSP_ONLY;
		EXPECT_EQ(jpege_start(c.enc, &c.cfg, nullptr), JPEGERR_EUNSUPPORTED);
		c.cfg.preference = JPEG_ENCODER_PREF_DSP_ACCELERATED;
		ASSERT_EQ(jpege_start(c.enc, &c.cfg, nullptr), 0);
		EXPECT_TRUE(c.wait_event(JPEG_EVENT_DONE));
	}
	fake_dsp dsp;
	{
		client c;
		c.cfg.preference = JPEG_ENCODER_PREF_SOFTWARE_ONLY;
		ASSERT_EQ(jpege_start(c.enc, &c.cfg, nullptr), 0);
		EXPECT_TRUE(c.wait_event(JPEG_EVENT_DONE));
		EXPECT_EQ(dsp_checks, 0);  // never touched

		c.cfg.preference = JPEG_ENCODER_PREF_SOFTWARE_PREFERRED;
		c.events.clear();
		ASSERT_EQ(jpege_start(c.enc, &c.cfg, nullptr), 0);
		EXPECT_TRUE(c.wait_event(JPEG_EVENT_DONE));
		EXPECT_EQ(dsp_checks, 0);

		c.cfg.preference = JPEG_ENCODER_PREF_DSP_ACCELERATED;  // refused, then software
		c.events.clear();
		c.bytes.clear();
		ASSERT_EQ(jpege_start(c.enc, &c.cfg, nullptr), 0);
		EXPECT_TRUE(c.wait_event(JPEG_EVENT_DONE));
		EXPECT_EQ(dsp_checks, 1);
		EXPECT_EQ(decode(c.bytes).warnings, 0);

		c.cfg.preference = JPEG_ENCODER_PREF_DSP_ONLY;
		EXPECT_EQ(jpege_start(c.enc, &c.cfg, nullptr), JPEGERR_EUNSUPPORTED);
		EXPECT_EQ(dsp_checks, 2);
	}
}

TEST(Jpege, SecondStartWhileEncodingIsRefused)
{
	client c;
	c.hold = true;
	ASSERT_EQ(jpege_start(c.enc, &c.cfg, nullptr), 0);
	EXPECT_EQ(jpege_start(c.enc, &c.cfg, nullptr), JPEGERR_EBADSTATE);
	EXPECT_EQ(jpege_start(c.enc, nullptr, nullptr), JPEGERR_EBADSTATE);  // the state is asked first
	c.release();
	EXPECT_TRUE(c.wait_event(JPEG_EVENT_DONE));
	EXPECT_EQ(c.events, std::vector<int>{JPEG_EVENT_DONE});
	decoded d = decode(c.bytes);
	EXPECT_EQ(d.warnings, 0);
	EXPECT_GT(psnr(d.p, split(c.img)), 30.0);
}

TEST(Jpege, AbortInTheMiddleThenEncodeAgain)
{
	size_t threads_before = thread_count();
	{
		client c(640, 480);
		ASSERT_EQ(jpege_start(c.enc, &c.cfg, nullptr), 0);
		ASSERT_TRUE(c.wait([&] { return c.pieces >= 3; }));
		EXPECT_EQ(jpege_abort(c.enc), 0);
		EXPECT_TRUE(c.events.empty());  // an abort sends no event
		EXPECT_EQ(jpege_abort(c.enc), 0);  // idle: nothing to do

		c.bytes.clear();
		ASSERT_EQ(jpege_start(c.enc, &c.cfg, nullptr), 0);
		EXPECT_TRUE(c.wait_event(JPEG_EVENT_DONE));
		decoded d = decode(c.bytes);
		EXPECT_TRUE(d.ok) << d.message;
		EXPECT_EQ(d.warnings, 0);

		// Destroy while an encoding runs.
		c.events.clear();
		ASSERT_EQ(jpege_start(c.enc, &c.cfg, nullptr), 0);
	}
	// A finished thread may take a moment to leave the task list.
	for (int i = 0; i < 500 && thread_count() != threads_before; i++)
		std::this_thread::sleep_for(std::chrono::milliseconds(10));
	EXPECT_EQ(thread_count(), threads_before);
}

TEST(Jpege, BadSourcesAndDestinations)
{
	client c;
	jpege_img_data_t img = c.planes->data;
	jpege_src_t src{&img, nullptr};
	img.width = 0;
	EXPECT_EQ(jpege_set_source(c.enc, &src), JPEGERR_EBADPARM);
	img = c.planes->data;
	img.color_format = RGB_FIRST;
	EXPECT_EQ(jpege_set_source(c.enc, &src), JPEGERR_EUNSUPPORTED);
	img = c.planes->data;
	img.fragment_cnt = 0;
	EXPECT_EQ(jpege_set_source(c.enc, &src), JPEGERR_EBADPARM);
	img.fragment_cnt = 9;
	EXPECT_EQ(jpege_set_source(c.enc, &src), JPEGERR_EBADPARM);
	img.fragment_cnt = 2;  // the second fragment has no memory
	EXPECT_EQ(jpege_set_source(c.enc, &src), JPEGERR_EBADPARM);
	src.p_main = nullptr;
	EXPECT_EQ(jpege_set_source(c.enc, &src), JPEGERR_ENULLPTR);
	EXPECT_EQ(jpege_set_source(nullptr, &src), JPEGERR_EUNINITIALIZED);

	jpege_dst_t dst = c.dst;
	dst.buffer_cnt = 3;
	EXPECT_EQ(jpege_set_destination(c.enc, &dst), JPEGERR_EBADPARM);
	dst = c.dst;
	dst.output_handler = nullptr;
	EXPECT_EQ(jpege_set_destination(c.enc, &dst), JPEGERR_ENULLPTR);
	dst = c.dst;
	c.out[1]->offset = c.out[1]->size;
	EXPECT_EQ(jpege_set_destination(c.enc, &dst), JPEGERR_EBADPARM);
	c.out[1]->offset = 0;
	EXPECT_EQ(jpege_init(nullptr, client::on_event), JPEGERR_ENULLPTR);
	jpege_obj_handle h = nullptr;
	EXPECT_EQ(jpege_init(&h, nullptr), JPEGERR_ENULLPTR);
	EXPECT_EQ(jpege_start(nullptr, &c.cfg, nullptr), JPEGERR_EUNINITIALIZED);
	EXPECT_EQ(jpege_abort(nullptr), JPEGERR_EUNINITIALIZED);
}

TEST(Jpege, BadConfigurations)
{
	client c;
	auto start_with = [&](auto change) {
		jpege_cfg_t cfg = c.cfg;
		change(cfg);
		return jpege_start(c.enc, &cfg, nullptr);
	};
	EXPECT_EQ(start_with([](jpege_cfg_t &k) { k.main_cfg.quality = 0; }), JPEGERR_EBADPARM);
	EXPECT_EQ(start_with([](jpege_cfg_t &k) { k.main_cfg.quality = 101; }), JPEGERR_EBADPARM);
	EXPECT_EQ(start_with([](jpege_cfg_t &k) { k.main_cfg.luma_quant_tbl = nullptr; }), JPEGERR_EBADPARM);
	EXPECT_EQ(start_with([](jpege_cfg_t &k) { k.main_cfg.rotation = 45; }), JPEGERR_EBADPARM);
	EXPECT_EQ(start_with([](jpege_cfg_t &k) { k.main_cfg.rotation = 360; }), JPEGERR_EBADPARM);
	EXPECT_EQ(start_with([](jpege_cfg_t &k) { k.main_cfg.scale_cfg.enable = 1; }), JPEGERR_EUNSUPPORTED);
	EXPECT_EQ(start_with([](jpege_cfg_t &k) { k.target_file_size = 1000; }), JPEGERR_EUNSUPPORTED);
	EXPECT_EQ(start_with([](jpege_cfg_t &k) { k.header_type = 2; }), JPEGERR_EBADPARM);
	EXPECT_EQ(start_with([](jpege_cfg_t &k) { k.preference = 4; }), JPEGERR_EBADPARM);
	// The restart interval is a 16-bit field of the file.
	EXPECT_EQ(start_with([](jpege_cfg_t &k) { k.main_cfg.restart_interval = 65536; }), JPEGERR_EBADPARM);
	EXPECT_EQ(start_with([](jpege_cfg_t &k) { k.thumbnail_present = 1; k.thumbnail_cfg.restart_interval = 70000; }),
	          JPEGERR_EBADPARM);
	// No thumbnail source: the engines' start check finds a null image.
	EXPECT_EQ(start_with([](jpege_cfg_t &k) { k.thumbnail_present = 1; }), JPEGERR_ENULLPTR);
	EXPECT_EQ(jpege_start(c.enc, nullptr, nullptr), JPEGERR_ENULLPTR);

	// Planes smaller than the picture they claim to hold.
	c.planes->luma->size = 320 * 239;
	EXPECT_EQ(jpege_start(c.enc, &c.cfg, nullptr), JPEGERR_EBADPARM);
	c.planes->luma->size = 320 * 240;
	c.planes->chroma->size = 320 * 120 - 1;
	EXPECT_EQ(jpege_start(c.enc, &c.cfg, nullptr), JPEGERR_EBADPARM);
	c.planes->chroma->size = 320 * 120;

	// After all of that the encoder is idle and works, up to the largest
	// interval the DRI segment holds.
	c.cfg.main_cfg.restart_interval = 65535;
	ASSERT_EQ(jpege_start(c.enc, &c.cfg, nullptr), 0);
	EXPECT_TRUE(c.wait_event(JPEG_EVENT_DONE));
	EXPECT_EQ(decode(c.bytes).warnings, 0);
	const std::vector<uint8_t> dri{0xFF, 0xDD, 0x00, 0x04, 0xFF, 0xFF};
	EXPECT_NE(std::search(c.bytes.begin(), c.bytes.end(), dri.begin(), dri.end()), c.bytes.end());
}
