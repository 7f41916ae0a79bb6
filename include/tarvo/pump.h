// Pumps: nodes of a processing graph. A pump has up to eight pins; an output
// pin carries a pointer to data (usually a Mat*) together with a type key, and
// an input pin reads the data of the output pin it is connected to. Pipe owns
// a set of pumps, orders them by their connections and runs them.
//
// Link types of a pin:
//   LinkNone   (0) pin not in use; cannot be connected.
//   LinkIn     (1) required input: takes exactly one upstream output.
//   LinkOption (2) optional input: as LinkIn, but the pump may run without it.
//   LinkOut    (3) output: feeds any number of inputs.
//   LinkFree   (4) a pin nobody has given a role yet (the default of Pin); refused by connect.
// Data registered on an input pin directly (regData) is what the pump reads
// while the pin is not connected, so a single pump can be driven by hand.
#pragma once

#include "tarvo/containers.h"
#include "tarvo/export.h"
#include "tarvo/object.h"

namespace tarvo {

class Mat;
class PumpABC;
class IniFile;

// Result of PumpABC::pumpProcess(): 1 when the pump ran.
typedef int PumpRet;

enum LinkType {
    LinkNone = 0,
    LinkIn = 1,
    LinkOption = 2,
    LinkOut = 3,
    LinkFree = 4,
};

// Most pins a pump can have.
constexpr int PUMP_MAX_PINS = 8;

// One pin of a pump: its owner and index on that pump, the registered data
// pointer with its type key, and its link type.
class TARVO_BASE_EXPORTS Pin {
public:
    Pin();
    ~Pin();
    Pin(const Pin&) = delete;
    Pin& operator=(const Pin&) = delete;

    // Registered data (not owned by the pin); null when nothing is registered.
    void* data() const { return m_data; }
    void setData(void* p) { m_data = p; }
    // Type key of the registered data ("image" for images); empty when none.
    const String& type() const { return m_type; }
    void setType(const String& t) { m_type = t; }
    // The pump the pin belongs to and its index there.
    void setPump(PumpABC* owner, int index = 0) {
        m_pump = owner;
        m_index = index;
    }
    PumpABC* pump() const { return m_pump; }
    int index() const { return m_index; }
    LinkType link() const { return m_link; }
    void setLink(LinkType t) { m_link = t; }
    // True for LinkIn and LinkOption.
    bool isInput() const { return m_link == LinkIn || m_link == LinkOption; }

private:
    int m_index;  // index of the pin on its pump
    String m_type;
    void* m_data;
    PumpABC* m_pump;
    LinkType m_link;
};

// Per-pin record of a pump: the pin object and the list of pins at the other
// end of its connections (an input has at most one). Both pointers are owned
// by the pump and freed by PumpRelease().
struct PumpData {
    Pin* pin;
    void* links;
};

// Base of every pump. Pins are created by resetLinks() from the pin count and
// the link types; a fresh PumpABC has no pins.
class TARVO_BASE_EXPORTS PumpABC {
public:
    PumpABC();
    // Copies the pin count and link types; the copy gets fresh pins with no
    // data and no connections (sharing the pins of another pump would free them twice).
    PumpABC(const PumpABC& other);
    PumpABC& operator=(const PumpABC&) = delete;
    virtual ~PumpABC();

    // A new pump of the same class and parameters, or null (the default, and on allocation
    // failure).
    virtual PumpABC* clone() const { return nullptr; }
    // Runs the pump on the data of its inputs and registers its outputs. Returns 1.
    virtual PumpRet pumpProcess() { return 1; }
    // Runs the pump on one image outside any graph; the default hands the argument back.
    virtual Mat* pumpProcess(Mat* input) { return input; }
    // Pin i, or null outside 0..getParameterNum()-1.
    virtual Pin* getPin(int pin);
    // True when pin i is connected and has link type t.
    virtual bool isConnected(int pin, LinkType t);
    // True when pin i has at least one connection.
    virtual bool isConnected(int pin);
    // Connects pin `pin` of this pump with pin `otherPin` of `other`. One side
    // must be an input (LinkIn, LinkOption), the other an output (LinkOut). An
    // input already connected is first disconnected. False on a bad pin, a
    // null pump, two pins of the same role, or a pin joined to itself.
    virtual bool connect(int pin, PumpABC* other, int otherPin);
    // Removes every connection of the pin (on both ends). False on a bad pin.
    virtual bool disconnect(int pin);
    // Frees data this pump owns on its pins; the default owns nothing.
    virtual void releaseData() {}
    // Joins this pump behind `other`: connects the first free input of this pump
    // to the first output of `other` and writes the input's index to `pin`.
    // False (pin -1) when either has no such pin.
    virtual bool RequestJoin(int& pin, PumpABC* other);
    // Adds the pumps that do the work of this one to `list` (this pump itself;
    // a CompoundPump adds its inner pumps). Returns the number added.
    virtual int RequestAdd(PtrArray& list);

    // Number of pins.
    int getParameterNum() const { return m_nParam; }
    // Link type of pin i (LinkNone outside the pins).
    LinkType getLinkType(int pin) const;
    // Data visible on a pin: for a connected input the data of the upstream
    // output, otherwise the pin's own registered data. Null for a bad pin.
    void* getDataEx(int pin);
    // Type key matching getDataEx; an empty string for a bad pin.
    String getDataTypeEx(int pin);
    // Stores data and its type key in the pin's own record. Ignored for a bad pin.
    void regDataEx(int pin, void* data, const String& type);
    void* getData() { return getDataEx(0); }
    String getDataType() { return getDataTypeEx(0); }
    void regData(void* data, const String& type) { regDataEx(0, data, type); }
    // Number of connections of a pin and the pin at the other end of the i-th
    // one (null when out of range).
    // Both follow getPin, so they see through a CompoundPump.
    int getLinkCount(int pin);
    Pin* getLinkedPin(int pin, int i);

    // Frees owned data (releaseData), disconnects every pin and frees the pin
    // objects. Safe to call repeatedly:
    // a released pump has no pins until resetLinks() builds them again.
    void PumpRelease();
    // Drops all connections and registered data, then builds one pin per
    // m_nParam (clamped to 0..8) with the link types of m_linkType.
    void resetLinks();

protected:
    int m_nParam;                    // number of pins
    int m_linkType[PUMP_MAX_PINS];   // LinkType of each pin
    PumpData m_data[PUMP_MAX_PINS];  // pin objects and their connections

    // Sets the pin count and link types and builds the pins (used by constructors).
    void setPins(int n, const int* types);

private:
    void addLink(int pin, Pin* peer);
    void removeLink(int pin, const Pin* peer);
};

// Passes the data of its input (pin 0) unchanged to its outputs (pins 1 and 2),
// to split a stream explicitly. Owns nothing.
class TARVO_BASE_EXPORTS BranchPump : public PumpABC {
public:
    BranchPump();
    BranchPump(const BranchPump& other) : PumpABC(other) {}
    ~BranchPump() override;
    // A new BranchPump, null when allocation fails.
    static PumpABC* New();
    PumpABC* clone() const override;
    // Registers the input's pointer and type on every output. Returns 1.
    PumpRet pumpProcess() override;
    bool connect(int pin, PumpABC* other, int otherPin) override;
    bool RequestJoin(int& pin, PumpABC* other) override;
};

// The entry of an image graph: copies the Mat registered on or connected to
// pin 0 into a Mat it owns and offers it on pin 1 with the key "image".
class TARVO_BASE_EXPORTS MatToImagePump : public PumpABC {
public:
    MatToImagePump();
    MatToImagePump(const MatToImagePump& other) : PumpABC(other) {}
    ~MatToImagePump() override;
    static PumpABC* New();
    PumpABC* clone() const override;
    // Copies the input (an empty Mat when there is none) and registers the copy. Returns 1.
    PumpRet pumpProcess() override;
    // Deletes the Mat registered on pin 1.
    void releaseData() override;
};

// A pump made of inner pumps. Its pins are pins of inner pumps exported with
// exportPin(); every pin operation is forwarded to the inner pump. Owns the
// inner pumps. Arrays: inner pumps, run order, and per exported pin the inner
// pump and the inner pin index.
class TARVO_BASE_EXPORTS CompoundPump : public PumpABC {
public:
    CompoundPump();
    // Clones the inner pumps and rebuilds their connections and exported pins.
    CompoundPump(const CompoundPump& other);
    ~CompoundPump() override;
    static PumpABC* New();
    PumpABC* clone() const override;

    // Takes ownership of `pump` and returns its index; -1 for null.
    int add(PumpABC* pump);
    // Exposes pin `innerPin` of inner pump `index` as the next pin of this pump.
    // Returns the new pin number, -1 when the pump or pin does not exist or all 8 are used.
    int exportPin(int index, int innerPin);
    PumpABC* getAt(int i) const;
    int getPumpCount() const;

    // Runs the inner pumps in the order of their connections. Returns 0 when
    // the inner connections hold a cycle (nothing runs), 1 otherwise.
    PumpRet pumpProcess() override;
    Pin* getPin(int pin) override;
    bool isConnected(int pin, LinkType t) override;
    bool isConnected(int pin) override;
    bool connect(int pin, PumpABC* other, int otherPin) override;
    bool disconnect(int pin) override;
    void releaseData() override;
    bool RequestJoin(int& pin, PumpABC* other) override;
    int RequestAdd(PtrArray& list) override;

protected:
    int m_flag;  // bit 0: m_arrays[1] holds a valid run order
    PtrArray m_arrays[4];

private:
    bool resolve(int pin, PumpABC*& inner, int& innerPin) const;
};

// A graph of pumps. Owns the pumps added to it; runs them in an order where
// every pump comes after the pumps feeding it.
//
// Flag word: bit 0 (PipeOrdered) is set while the run order is valid, bit 1
// (PipeCycle) when the last buildOrder() found a cycle. Detaching pumps clears it.
// Arrays: [0] the pumps added, [1] the run order (the working pumps after
// RequestAdd, so compounds are flattened), [2] the pumps without connected
// inputs, [3] the pumps whose outputs feed nothing.
class TARVO_BASE_EXPORTS Pipe {
public:
    enum { PipeOrdered = 1, PipeCycle = 2 };

    Pipe();
    // Clones each pump and rebuilds the connections among the clones; pumps that
    // cannot be cloned are left out together with their connections.
    Pipe(const Pipe& other);
    Pipe& operator=(const Pipe&) = delete;
    // Deletes the pumps still attached.
    virtual ~Pipe();
    // Orders the working pumps topologically by their connections (links to
    // pumps outside the pipe are ignored). False when they form a cycle: the
    // order is then empty and the pipe refuses to run.
    virtual bool buildOrder();

    // Takes ownership of `pump` and returns its index; -1 for null or a pump already held.
    int add(PumpABC* pump);
    // Adds `pump` and joins it behind the last pump added (RequestJoin). False
    // when the join fails; the pump is added either way unless null.
    bool append(PumpABC* pump);
    // Builds the order and calls pumpProcess() on each pump in it. False when
    // the order cannot be built.
    bool run();
    // releaseData() on every working pump.
    void releaseData();

    PumpABC* getAt(int i) const;
    int getPumpCount() const;
    // Gives the pump at i back to the caller (not deleted); null when out of range.
    PumpABC* detachAt(int i);
    // Gives every pump back to the caller.
    void detachAll();
    // The run order of the last buildOrder(): count and i-th pump.
    int getOrderCount() const { return m_arrays[1].getSize(); }
    PumpABC* getOrderAt(int i) const;
    int getFlag() const { return m_flag; }

protected:
    int m_flag;
    PtrArray m_arrays[4];
};

// Range and name of a tunable parameter.
struct ParamRange {
    char szName[32];
    int nMin;
    int nMax;
    int nStep;
};

// A tunable float parameter: a pointer to the value and its range (neither owned).
class TARVO_BASE_EXPORTS ParamInfo {
public:
    ParamInfo(float* value, const ParamRange* range) : m_value(value), m_range(range) {}
    virtual ~ParamInfo() {}
    float& value() { return *m_value; }
    const ParamRange* range() const { return m_range; }

private:
    float* m_value;
    const ParamRange* m_range;
};

// Describes the tunable parameters of an operator. Every operator of the
// library has one method and no listed parameters.
class TARVO_BASE_EXPORTS IParamABC {
public:
    IParamABC() {}
    virtual ~IParamABC() {}
    // Always 1.
    virtual int getMethodCount() { return 1; }
    // Number of listed parameters; the method number is ignored.
    virtual int getParamCount(int method) {
        (void)method;
        return m_params.getSize();
    }
    // Entry `index` of the list, null outside it; the method number is ignored.
    virtual ParamInfo* getParamInfo(int method, int index) {
        (void)method;
        if (index < 0 || index >= m_params.getSize()) return nullptr;
        return static_cast<ParamInfo*>(m_params.getAt(index));
    }

protected:
    PtrArray m_params;  // ParamInfo*, not owned
};

// A parameter set that reads and writes itself from an ini file. The base
// class has nothing to read or write and returns 0.
class TARVO_BASE_EXPORTS ParamABC : public Object {
public:
    ParamABC() {}
    ~ParamABC() override {}
    virtual int load(IniFile* ini) {
        (void)ini;
        return 0;
    }
    virtual int save(IniFile* ini) {
        (void)ini;
        return 0;
    }
};

// Base of named algorithms: an identifier, a description and a list of
// parameter objects (not owned). Copies share the parameter objects.
class TARVO_BASE_EXPORTS Algorithm : public Object {
public:
    // id and description are truncated to 255 characters; null gives "".
    explicit Algorithm(const char* id = nullptr, const char* description = nullptr);
    Algorithm(const Algorithm& other);
    Algorithm& operator=(const Algorithm& other);
    ~Algorithm() override {}
    virtual const char* getID() const { return m_szID; }
    const char* getDescription() const { return m_szDesc; }

protected:
    char m_szID[256];
    char m_szDesc[256];
    PtrArray m_params;
};

}  // namespace tarvo
