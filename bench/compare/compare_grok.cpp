// Grok, the second JPEG 2000 decoder compared.
#include "compare_decoders.h"

#ifdef ORVANETICS_COMPARE_GROK

#include <grok.h>

#include <vector>

#include "compare_int32Planes.h"

namespace CompareBench {

namespace {

void keepMessage(const char* message, void* target)
{
    *static_cast<std::string*>(target) = message;
}

// Grok's thread pool is process-wide and can't be rebuilt (a second
// initialisation hangs the next decode): one count per process.
bool useGrokThreads(unsigned threads)
{
    static const unsigned fixed = [threads] {
        grk_initialize(nullptr, threads);  // false without a plugin, yet ready
        return threads;
    }();
    return fixed == threads;
}

class GrokDecoder : public Decoder {
public:
    ~GrokDecoder() override { close(); }
    std::string name() const override { return "Grok"; }

    bool open(const std::string& path, unsigned reduce, unsigned threads) override
    {
        close();
        if (!useGrokThreads(threads)) {
            m_error = "Grok's thread count is fixed per process";
            return false;
        }
        grk_set_msg_handlers(nullptr, nullptr, nullptr, nullptr, keepMessage, &m_error);
        m_path = path;
        m_reduce = reduce;
        return openCodec();
    }

    // A codec decodes once, so a second window on the same file opens a
    // new one.
    bool decode(const Window& window, BenchImage* out) override
    {
        if (m_decoded && !openCodec())
            return false;
        m_decoded = true;
        if (!window.isWhole() && !grk_decompress_set_window(m_codec, float(window.x0), float(window.y0),
                                                            float(window.x1), float(window.y1)))
            return false;
        if (!grk_decompress(m_codec, nullptr))
            return false;
        const grk_image* image = grk_decompress_get_composited_image(m_codec);
        if (!image)
            return false;
        if (out)
            storeOutput(*image, *out);
        return true;
    }

    void close() override
    {
        if (m_codec)
            grk_object_unref(m_codec);
        m_codec = nullptr;
        m_decoded = false;
    }

private:
    bool openCodec()
    {
        close();
        grk_decompress_core_params parameters;
        grk_decompress_set_default_params(&parameters);
        parameters.reduce = uint8_t(m_reduce);
        grk_stream_params stream{};
        stream.file = m_path.c_str();
        m_codec = grk_decompress_init(&stream, &parameters);
        if (!m_codec)
            return false;
        grk_header_info header{};
        return grk_decompress_read_header(m_codec, &header);
    }

    static void storeOutput(const grk_image& image, BenchImage& out)
    {
        std::vector<Int32Plane> planes(image.numcomps);
        for (uint32_t c = 0; c < image.numcomps; ++c) {
            const grk_image_comp& comp = image.comps[c];
            planes[c] = {comp.data, comp.w, comp.h, comp.stride};
        }
        storeInt32Planes(planes.data(), image.numcomps, out);
    }

    grk_codec* m_codec = nullptr;
    std::string m_path;
    unsigned m_reduce = 0;
    bool m_decoded = false;
};

}  // namespace

std::unique_ptr<Decoder> makeGrokDecoder()
{
    return std::make_unique<GrokDecoder>();
}

}  // namespace CompareBench

#else

namespace CompareBench {

std::unique_ptr<Decoder> makeGrokDecoder()
{
    return nullptr;
}

}  // namespace CompareBench

#endif
