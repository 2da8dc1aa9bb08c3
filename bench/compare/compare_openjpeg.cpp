// OpenJPEG: writes every JPEG 2000 file of the comparison, and is one of the
// decoders compared.
#include <openjpeg.h>

#include <algorithm>
#include <vector>

#include "compare_decoders.h"
#include "compare_int32Planes.h"

namespace CompareBench {

namespace {

// Keeps the library's last error message instead of printing it.
void keepMessage(const char* message, void* target)
{
    *static_cast<std::string*>(target) = message;
}

void ignoreMessage(const char*, void*) {}

void routeMessages(opj_codec_t* codec, std::string& error)
{
    opj_set_error_handler(codec, keepMessage, &error);
    opj_set_warning_handler(codec, ignoreMessage, nullptr);
    opj_set_info_handler(codec, ignoreMessage, nullptr);
}

opj_image_t* makeOpenJpegImage(const BenchImage& image)
{
    std::vector<opj_image_cmptparm_t> components(image.numBands);
    for (opj_image_cmptparm_t& c : components) {
        c = {};
        c.dx = c.dy = 1;
        c.w = image.width;
        c.h = image.height;
        c.prec = 8;
        c.sgnd = 0;
    }
    opj_image_t* result = opj_image_create(image.numBands, components.data(),
                                           image.numBands >= 3 ? OPJ_CLRSPC_SRGB : OPJ_CLRSPC_GRAY);
    if (!result)
        return nullptr;
    result->x1 = image.width;
    result->y1 = image.height;
    const size_t count = size_t(image.width) * image.height;
    for (uint32_t b = 0; b < image.numBands; ++b)
        std::copy_n(image.band(b), count, result->comps[b].data);
    return result;
}

void setCodingParameters(const BenchImage& image, const Jpeg2000Coding& coding, opj_cparameters_t& p)
{
    opj_set_default_encoder_parameters(&p);
    p.numresolution = 6;  // five wavelet levels
    p.cblockw_init = p.cblockh_init = 64;
    p.tcp_mct = image.numBands >= 3 ? 1 : 0;
    p.irreversible = coding.lossless ? 0 : 1;
    p.tcp_numlayers = 1;
    p.tcp_rates[0] = coding.lossless ? 0.0f : float(coding.compressionRatio);
    p.cp_disto_alloc = 1;
}

class OpenJpegDecoder : public Decoder {
public:
    ~OpenJpegDecoder() override { close(); }
    std::string name() const override { return "OpenJPEG"; }

    bool open(const std::string& path, unsigned reduce, unsigned threads) override
    {
        close();
        opj_dparameters_t parameters;
        opj_set_default_decoder_parameters(&parameters);
        parameters.cp_reduce = reduce;
        m_codec = opj_create_decompress(OPJ_CODEC_JP2);
        m_stream = opj_stream_create_default_file_stream(path.c_str(), OPJ_TRUE);
        if (!m_codec || !m_stream)
            return fail("cannot open " + path);
        routeMessages(m_codec, m_error);
        return opj_setup_decoder(m_codec, &parameters) && opj_codec_set_threads(m_codec, int(threads)) &&
               opj_read_header(m_stream, m_codec, &m_image);
    }

    bool decode(const Window& window, BenchImage* out) override
    {
        if (!m_image)
            return fail("not open");
        if (!window.isWhole() &&
            !opj_set_decode_area(m_codec, m_image, int(window.x0), int(window.y0), int(window.x1),
                                 int(window.y1)))
            return false;
        if (!opj_decode(m_codec, m_stream, m_image))
            return false;
        if (out)
            storeOutput(*out);
        return true;
    }

    void close() override
    {
        if (m_image)
            opj_image_destroy(m_image);
        if (m_stream)
            opj_stream_destroy(m_stream);
        if (m_codec)
            opj_destroy_codec(m_codec);
        m_image = nullptr;
        m_stream = nullptr;
        m_codec = nullptr;
    }

private:
    bool fail(const std::string& message)
    {
        m_error = message;
        return false;
    }

    void storeOutput(BenchImage& out) const
    {
        std::vector<Int32Plane> planes(m_image->numcomps);
        for (uint32_t c = 0; c < m_image->numcomps; ++c) {
            const opj_image_comp_t& comp = m_image->comps[c];
            planes[c] = {comp.data, comp.w, comp.h, comp.w};
        }
        storeInt32Planes(planes.data(), m_image->numcomps, out);
    }

    opj_codec_t* m_codec = nullptr;
    opj_stream_t* m_stream = nullptr;
    opj_image_t* m_image = nullptr;
};

}  // namespace

bool writeJpeg2000(const BenchImage& image, const Jpeg2000Coding& coding, const std::string& path,
                   std::string& error)
{
    opj_cparameters_t parameters;
    setCodingParameters(image, coding, parameters);
    opj_image_t* source = makeOpenJpegImage(image);
    opj_codec_t* codec = opj_create_compress(OPJ_CODEC_JP2);
    opj_stream_t* stream = opj_stream_create_default_file_stream(path.c_str(), OPJ_FALSE);
    bool ok = source && codec && stream;
    if (ok) {
        routeMessages(codec, error);
        ok = opj_setup_encoder(codec, &parameters, source);
        if (ok)
            opj_codec_set_threads(codec, 2);  // a refusal only makes it slower
        ok = ok && opj_start_compress(codec, source, stream) && opj_encode(codec, stream) &&
             opj_end_compress(codec, stream);
    } else {
        error = "cannot create the encoder or " + path;
    }
    if (stream)
        opj_stream_destroy(stream);
    if (codec)
        opj_destroy_codec(codec);
    if (source)
        opj_image_destroy(source);
    return ok;
}

std::unique_ptr<Decoder> makeOpenJpegDecoder()
{
    return std::make_unique<OpenJpegDecoder>();
}

}  // namespace CompareBench
