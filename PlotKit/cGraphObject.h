// cGraphObject: base of everything drawn on a graph (series, time-event marks). It carries what a
// renderer and a report read (colour, label, drawing flags, hot points) and the virtual operations
// through which the graph library asks SimCore's result objects about crash files, mouse hits and
// ranges, since the library itself never sees a SimCore class.
#pragma once

#include <memory>
#include <string>
#include <vector>

class cGraphHotPoint;

// A position on the drawing surface, in pixels.
struct CPoint
{
    long x;
    long y;
};

class cGraphObject
{
public:
    cGraphObject();
    // Owns its hot points: copies would delete them twice.
    cGraphObject(cGraphObject const&) = delete;
    cGraphObject& operator=(cGraphObject const&) = delete;
    // Deletes the hot points.
    virtual ~cGraphObject();

    virtual unsigned long getColor() const;
    void setColor(unsigned long color) { m_color = color; }
    std::string const& GetLabel() const { return m_label; }
    void SetLabel(std::string const& label) { m_label = label; }
    // The to-be-drawn flag: the user's choice of showing this object. Reports write it back as the
    // object's drawing enable state; isToBeDrawn() may add reasons of its own to draw.
    bool GetDrawingEnabled() const { return m_toBeDrawn; }
    void setToBeDrawn(bool toBeDrawn) { m_toBeDrawn = toBeDrawn; }
    // Set while the object shows its default colour, cleared while it shows its crash file's.
    bool getUseDefaultColor() const { return m_useDefaultColor; }
    void setUseDefaultColor(bool useDefaultColor) { m_useDefaultColor = useDefaultColor; }

    // Whether hot points are shown and dragged, and whether values are raw (LSB); false here.
    virtual bool getHotPointEnabled() const;
    virtual bool getLsbEnabled() const;
    // Whether the mouse at `point` is on the object; `file` receives the crash file address of the
    // object. An object without geometry of its own is never hit: false, file 0.
    virtual bool interceptMouse(CPoint point, unsigned long long& file);
    // The x and y range of the object at `time` on the crash file `file`; false here (no curve).
    virtual bool interpolateYXRangeOnTimeEvent(unsigned long long file, float time, float& xMin, float& xMax,
                                               float& yMin, float& yMax);
    // Whether the renderer draws the object; here the to-be-drawn flag.
    virtual bool isToBeDrawn() const;
    // Sets the to-be-drawn flag when `address` is that of the object's crash file and answers true;
    // otherwise false. An object of no crash file (address 0) never matches.
    virtual bool SetIfItIsToBeDrawn(unsigned long long address, bool toBeDrawn);
    // The crash file that the object shows: 0, "" and 0 for an object of no file.
    virtual unsigned long long GetCrashFileAddress() const;
    virtual std::string GetCrashFileName() const;
    virtual long GetCrashFileColor() const;
    // The colour shown while use-default-colour is set; here the colour itself.
    virtual unsigned long GetDefaultColor() const;

    // Takes ownership of the hot point and makes this object its owner. Null, or a point held
    // already, changes nothing.
    void addHotPoint(cGraphHotPoint* hotPoint);
    unsigned int getHotPointCount() const { return static_cast<unsigned int>(m_hotPoints.size()); }
    // Walk in order of addition: null, with cursor == count, behind the last.
    cGraphHotPoint* firstHotPoint(unsigned int& cursor) const;
    cGraphHotPoint* nextHotPoint(unsigned int& cursor) const;

private:
    unsigned long m_color = 0;
    std::string m_label;
    bool m_toBeDrawn = true;
    bool m_useDefaultColor = true;
    std::vector<std::unique_ptr<cGraphHotPoint>> m_hotPoints;
};
