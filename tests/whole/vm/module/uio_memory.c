/* A UIO device over plain memory, called as the card's is. Its interrupt is a line of its own, which the
 * file `raise` of the platform device raises: the kernel counts it and hands it on as any other. */
#include <linux/interrupt.h>
#include <linux/irq.h>
#include <linux/module.h>
#include <linux/platform_device.h>
#include <linux/uio_driver.h>
#include <linux/vmalloc.h>

#define BAR_BYTES (64UL << 20)

static irqreturn_t serve_interrupt(int irq, struct uio_info *info)
{
    return IRQ_HANDLED; /* which makes UIO wake its readers */
}

static struct uio_info info = {.name = "ZYNQFPGA", .version = "1.0", .handler = serve_interrupt};
static struct platform_device *device;

static ssize_t raise_store(struct device *dev, struct device_attribute *attribute, const char *text,
                           size_t length)
{
    unsigned long flags;

    local_irq_save(flags);
    generic_handle_irq(info.irq);
    local_irq_restore(flags);
    return length;
}
static DEVICE_ATTR_WO(raise);

static int make_interrupt(void)
{
    int irq = irq_alloc_desc(NUMA_NO_NODE);

    if (irq < 0)
        return irq;
    irq_set_chip_and_handler(irq, &dummy_irq_chip, handle_simple_irq);
    irq_clear_status_flags(irq, IRQ_NOREQUEST);
    info.irq = irq;
    return 0;
}

static int make_memory(void)
{
    void *memory = vmalloc_user(BAR_BYTES);

    if (!memory)
        return -ENOMEM;
    info.mem[0].name = "bar0";
    info.mem[0].addr = (phys_addr_t)(unsigned long)memory;
    info.mem[0].size = BAR_BYTES;
    info.mem[0].memtype = UIO_MEM_VIRTUAL;
    return 0;
}

static int __init uio_memory_start(void)
{
    int error;

    device = platform_device_register_simple("uio_memory", PLATFORM_DEVID_NONE, NULL, 0);
    if (IS_ERR(device))
        return PTR_ERR(device);
    error = make_interrupt();
    if (error)
        goto no_interrupt;
    error = make_memory();
    if (error)
        goto no_memory;
    error = uio_register_device(&device->dev, &info);
    if (error)
        goto no_uio;
    error = device_create_file(&device->dev, &dev_attr_raise);
    if (!error)
        return 0;

    uio_unregister_device(&info);
no_uio:
    vfree((void *)(unsigned long)info.mem[0].addr);
no_memory:
    irq_free_desc(info.irq);
no_interrupt:
    platform_device_unregister(device);
    return error;
}
module_init(uio_memory_start);

/* There is no way to unload it: the machine that it is for ends instead. */
MODULE_LICENSE("GPL");
MODULE_DESCRIPTION("A UIO device over plain memory, for tests");
