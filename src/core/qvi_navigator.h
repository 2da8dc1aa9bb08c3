// A scene bound to an image, with moves, zooms and clamping. The image is
// only pointed to: it must outlive the navigator.
#pragma once

#include "qvi_geoCoord.h"
#include "qvi_scene.h"
#include "qv_utilStatusData.h"

namespace Orvanetics {

class QVIImage;

class QVINavigator : public QVIScene {
public:
    enum Style {
        // Store the scene as it is.
        STYLE_FREE = 1,
        // Store it, and answer 50013 if it doesn't lie inside the image.
        STYLE_STRICT = 2,
        // Store it, clipped to the image; 50013 if nothing remains.
        STYLE_CLIP = 3,
    };

    // The full image at magnification 1.0.
    explicit QVINavigator(const QVIImage& image);
    QVINavigator(const QVIImage& image, const QVIScene& scene);

    const QVIImage& getImage() const { return *m_image; }
    const QVIScene& getScene() const { return *this; }

    bool isSceneValid() const;
    QVStatus setSceneToIcon();
    QVStatus setSceneToFull();
    // Replace the scene by its intersection with `other` (or with the whole
    // image); false, scene unchanged, when nothing remains.
    bool clipToScene(const QVIScene& other);
    bool clipToImage();

    // The scene is stored whatever the style answers; an unknown style gives 2.
    QVStatus setScene(const QVIScene& scene, Style style);
    void setSceneAsULWH(double x, double y, double width, double height, double mag);
    // Inclusive corners.
    void setSceneAsULLR(double x0, double y0, double x1, double y1, double mag);
    void setSceneAsCWH(double cx, double cy, double width, double height, double mag);
    // The same in the image's geographic coordinates (sizes in ground units).
    QVStatus setSceneAsGeoULWH(double x, double y, double width, double height, double mag);
    QVStatus setSceneAsGeoULLR(double x0, double y0, double x1, double y1, double mag);
    QVStatus setSceneAsGeoCWH(double cx, double cy, double width, double height, double mag);

    QVStatus moveBy(double dx, double dy, Style style);
    QVStatus moveTo(double x, double y, Style style);
    // Zooms change only the magnification: position and size stay as numbers.
    QVStatus zoomBy(double factor, Style style);
    QVStatus zoomTo(double mag, Style style);
    void roundScene();

    // The full image at the largest magnification (from 256 or the image's
    // maximum, halving) whose size has width <= `width` and height < `height`.
    // 1 if none down to the image's minimum magnification.
    QVStatus bestFit(uint32_t width, uint32_t height, QVIScene& scene) const;

    // The image's georeference for the current scene.
    QVIGeoCoord getGeoCoord() const;

private:
    const QVIImage* m_image;
};

}  // namespace Orvanetics
